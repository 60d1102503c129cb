// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/rule_watch.h"

#include "command_error.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/subscription_rules.h"
#include "text/escaped_text.h"
#include "text/rule_excerpt.h"

#include <Poco/Delegate.h>
#include <Poco/Exception.h>

#include <exception>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

std::unique_ptr<tsn::ISubscriptionRule> Parse(const std::string& text) {
    try {
        if (tsn::DescribeRule(text).empty()) {
            throw CommandError("rule " + Quoted(text) + " is empty");
        }
        return std::unique_ptr<tsn::ISubscriptionRule>(tsn::Expression(text));
    } catch (const tsn::RuleSyntaxException& error) {
        throw CommandError("rule " + Quoted(text) + ": " + error.message(),
                           MarkInRule(text, error.GetSpan(), error.GetHint()));
    }
}

}  // namespace

RuleWatch::RuleWatch(const std::string& text) : text(text), everySample(false), rule(Parse(text)) {}

RuleWatch::RuleWatch() : text("*"), everySample(true), rule(tsn::Always()) {}

std::vector<RuleWatch::Warning> RuleWatch::Check(const tsn::StreamType& type) const {
    std::vector<Warning> warnings;
    if (everySample) {
        return warnings;
    }
    for (const tsn::RuleFinding& finding : tsn::CheckRule(text, type)) {
        warnings.push_back({"rule " + Quoted(text) + ": " + finding.message,
                            MarkInRule(text, finding.span, finding.hint)});
    }
    return warnings;
}

void RuleWatch::Subscribe(tsn::Stream& stream, const SampleReporter& lineReporter,
                          StandardOutput& lineOutput) {
    reporter = &lineReporter;
    output = &lineOutput;
    stream.Subscribe({*rule, Poco::delegate(this, &RuleWatch::OnMatch)});
}

std::string RuleWatch::DescribeFailure(const tsn::Stream& stream) const {
    std::string reason;
    stream.GetLatest([&](const tsn::Sample& newest) {
        tsn::Sample sample(newest);
        tsn::SubscriptionArgs args{tsn::pushed, &sample, nullptr};
        try {
            static_cast<void>(rule->Applies(args));
        } catch (const Poco::Exception& error) {
            reason = error.displayText();
        } catch (const std::exception& error) {
            reason = error.what();
        }
    });
    return reason.empty() ? "" : "rule " + Quoted(text) + " cannot be evaluated: " + reason;
}

void RuleWatch::OnMatch(tsn::SubscriptionArgs& args) {
    ++matches;
    reporter->Report(output->GetBuffer(), text, *args.sample);
    output->Commit();
}

}  // namespace velmora::tool
