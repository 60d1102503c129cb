// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/rule_watch.h"

#include "command_error.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/subscription_rules.h"
#include "text/escaped_text.h"

#include <Poco/Delegate.h>
#include <Poco/Exception.h>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

std::unique_ptr<tsn::ISubscriptionRule> Parse(const std::string& text) {
    try {
        return std::unique_ptr<tsn::ISubscriptionRule>(tsn::Expression(text));
    } catch (const Poco::SyntaxException& error) {
        throw CommandError("rule " + Quoted(text) + ": " + error.message());
    }
}

// A rule whose failures say which rule it is.
class NamedRule : public tsn::ISubscriptionRule {
  public:
    NamedRule(const std::string& text, tsn::ISubscriptionRule* rule) : text(text), rule(rule) {}
    NamedRule(const NamedRule&) = delete;
    NamedRule& operator=(const NamedRule&) = delete;
    ~NamedRule() override = default;

    bool Applies(tsn::SubscriptionArgs& args) const override {
        try {
            return rule->Applies(args);
        } catch (const Poco::Exception& error) {
            throw RuleError("rule " + Quoted(text) +
                            " can not be evaluated: " + error.displayText());
        } catch (const std::out_of_range& error) {
            throw RuleError("rule " + Quoted(text) + " can not be evaluated: " + error.what());
        }
    }

    tsn::ISubscriptionRule* Clone() const override { return new NamedRule(text, rule->Clone()); }

  private:
    std::string text;
    std::unique_ptr<tsn::ISubscriptionRule> rule;
};

}  // namespace

RuleWatch::RuleWatch(const std::string& text) : text(text), everySample(false), rule(Parse(text)) {}

RuleWatch::RuleWatch() : text("*"), everySample(true), rule(tsn::Always()) {}

std::vector<std::string> RuleWatch::Check(const tsn::StreamType& type) const {
    std::vector<std::string> sentences;
    if (everySample) {
        return sentences;
    }
    for (const tsn::RuleFinding& finding : tsn::CheckRule(text, type)) {
        sentences.push_back("rule " + Quoted(text) + ": " + finding.message);
    }
    return sentences;
}

void RuleWatch::Subscribe(tsn::Stream& stream, const SampleReporter& lineReporter,
                          StandardOutput& lines) {
    reporter = &lineReporter;
    output = &lines;
    stream.Subscribe({NamedRule(text, rule->Clone()), Poco::delegate(this, &RuleWatch::OnMatch)});
}

void RuleWatch::OnMatch(tsn::SubscriptionArgs& args) {
    ++matches;
    reporter->Report(output->GetBuffer(), text, *args.sample);
    output->Commit();
}

}  // namespace velmora::tool
