// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/client_rule.h"

#include "inspector/request_error.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/subscription_args.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <stdexcept>

namespace velmora::inspector {

using core::tessaryn::RuleSyntaxException;
using core::tessaryn::Sample;
using core::tessaryn::SubscriptionArgs;

namespace {

const std::string& Checked(const std::string& text, const InspectorLimits& limits) {
    CheckRuleLimits(text, limits);
    return text;
}

// The number of operators, functions, entries and literals.
std::size_t CountTerms(const std::string& text) {
    const std::string description = core::tessaryn::DescribeRule(text);
    return static_cast<std::size_t>(std::count(description.begin(), description.end(), '\n'));
}

}  // namespace

void CheckRuleLimits(const std::string& text, const InspectorLimits& limits) {
    if (text.size() > limits.maxRuleBytes) {
        throw RequestError(
            400, "The rule is longer than " + std::to_string(limits.maxRuleBytes) + " bytes.");
    }
    // Parentheses within string literals count as well, which no reasonable rule notices.
    std::size_t depth = 0;
    for (const char c : text) {
        depth += c == '(' ? 1U : 0U;
        depth -= c == ')' && depth > 0 ? 1U : 0U;
        if (depth > limits.maxRuleDepth) {
            throw RequestError(400, "The rule is nested more than " +
                                        std::to_string(limits.maxRuleDepth) + " deep.");
        }
    }
}

ClientRule::ClientRule(const std::string& text, const InspectorLimits& limits)
    : rule(Checked(text, limits)), terms(CountTerms(text)), maxWork(limits.maxRuleWork) {}

bool ClientRule::Holds(Sample& sample) const {
    if (terms * std::size_t{sample.GetSerializedSizeInBytes()} > maxWork) {
        throw RequestError(400, "The rule takes too long for samples of this size.");
    }
    SubscriptionArgs args{core::tessaryn::pushed, &sample, nullptr};
    try {
        return rule.Applies(args);
    } catch (const Poco::Exception&) {
        return false;
    } catch (const std::out_of_range&) {
        return false;
    }
}

ClientRule ParseClientRule(const std::string& text, const InspectorLimits& limits) {
    try {
        return ClientRule(text, limits);
    } catch (const RuleSyntaxException& error) {
        throw RequestError(400, "The rule is malformed: " + error.message());
    }
}

}  // namespace velmora::inspector
