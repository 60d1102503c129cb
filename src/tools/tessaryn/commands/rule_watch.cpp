// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/rule_watch.h"

#include "delivery/aggregates.h"
#include "delivery/conditions.h"
#include "tessaryn/subscription_rules.h"
#include "text/escaped_text.h"

#include <Poco/Delegate.h>
#include <Poco/Exception.h>

#include <exception>
#include <memory>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

// Entries of an event's sample.
constexpr unsigned short eventBegin = 0;
constexpr unsigned short eventEnd = 1;

}  // namespace

RuleWatch::RuleWatch(NamedRule& rule, const WatchFilter& filter, const tsn::StreamType& type,
                     Target target)
    : rule(rule),
      filter(filter),
      target(std::move(target)),
      hasContext(filter.before.count() > 0 || filter.after.count() > 0),
      isConditional(filter.events || (filter.hold && !rule.isEverySample)),
      needsOthers(filter.edges || hasContext) {
    if (filter.events) {
        delivery::Events events(rule.rule, FindNumericEntries(rule, type));
        eventType = events.GetType();
        chain = delivery::ConditionChain(std::move(events));
    } else if (filter.hold && !rule.isEverySample) {
        chain = delivery::ConditionChain(delivery::HeldFor(rule.rule, *filter.hold));
    }
    if (!filter.changed.empty()) {
        chain = chain.Then(delivery::OnChange(filter.changed));
    }
    if (!filter.moved.empty()) {
        chain = chain.Then(delivery::Deadband(filter.moved, filter.limit));
    }
    if (filter.interval) {
        chain = chain.Then(delivery::MinInterval(*filter.interval));
    }
}

void RuleWatch::Subscribe(tsn::Stream& stream) {
    const std::unique_ptr<tsn::ISubscriptionRule> always(tsn::Always());
    if (needsOthers) {
        stream.Subscribe({*always, Poco::delegate(this, &RuleWatch::OnChange)});
    } else if (isConditional) {
        stream.Subscribe({*always, Poco::delegate(this, &RuleWatch::OnMatch)});
    } else {
        stream.Subscribe({rule.rule.Get(), Poco::delegate(this, &RuleWatch::OnMatch)});
    }
}

void RuleWatch::Flush() {
    chain.Flush(Poco::Timestamp(Poco::Timestamp::TIMEVAL_MAX), *this);
}

std::string RuleWatch::DescribeFailure(tsn::Sample sample) const {
    std::string reason;
    tsn::SubscriptionArgs args{tsn::pushed, &sample, nullptr};
    try {
        static_cast<void>(rule.rule.Applies(args));
    } catch (const Poco::Exception& error) {
        reason = error.displayText();
    } catch (const std::exception& error) {
        reason = error.what();
    }
    return reason.empty() ? "" : "rule " + Quoted(rule.text) + " cannot be evaluated: " + reason;
}

void RuleWatch::OnMatch(tsn::SubscriptionArgs& args) {
    if (chain.IsEmpty()) {
        Emit(args);
    } else {
        chain.Process(args, *this);
    }
}

// Called for every sample, whether or not the rule is true.
void RuleWatch::OnChange(tsn::SubscriptionArgs& args) {
    if (args.changeType == tsn::popped) {
        return;
    }
    const bool isTrue = rule.rule.Applies(args);
    const auto row = reinterpret_cast<std::uintptr_t>(args.sender);
    reported = false;
    if (filter.edges) {
        if (isTrue != wasTrue) {
            WriteBefore(args.sample->GetTimeStamp().epochMicroseconds());
            ++rule.matches;
            Write(isTrue ? "begin" : "end", *args.sample, row);
            afterUntil = (args.sample->GetTimeStamp() + filter.after.count()).epochMicroseconds();
            reported = true;
        }
    } else if (isTrue || isConditional) {
        OnMatch(args);
    }
    wasTrue = isTrue;
    const bool isOfEvent = isTrue && (filter.events || filter.edges);
    if (hasContext && !isOfEvent && (filter.events || !reported)) {
        AddContext(*args.sample, row);
    }
}

void RuleWatch::Emit(tsn::SubscriptionArgs& change) {
    const tsn::Sample& sample = *change.sample;
    std::int64_t end = sample.GetTimeStamp().epochMicroseconds();
    std::int64_t begin = end;
    if (filter.events) {
        begin = sample.GetInt64(eventBegin, 0);
        end = sample.GetInt64(eventEnd, 0);
        if (filter.hold && end - begin < filter.hold->count()) {
            return;
        }
    }
    WriteBefore(begin);
    ++rule.matches;
    reported = true;
    if (filter.events) {
        target.reporter->ReportEvent(target.output->GetBuffer(), {rule.label}, sample);
        target.output->Commit();
        if (target.keep) {
            target.keep(sample, 0);
        }
    } else {
        Write({}, sample, reinterpret_cast<std::uintptr_t>(change.sender));
    }
    afterUntil = end + filter.after.count();
}

void RuleWatch::Write(std::string_view context, const tsn::Sample& sample, std::uintptr_t row) {
    target.reporter->Report(target.output->GetBuffer(), {rule.label, context}, sample);
    target.output->Commit();
    if (target.keep && !filter.events) {
        target.keep(sample, row);
    }
}

// Writes the rows before a time.
void RuleWatch::WriteBefore(std::int64_t time) {
    DropOld(time);
    for (const auto& [sample, row] : before) {
        Write("before", sample, row);
    }
    before.clear();
}

void RuleWatch::DropOld(std::int64_t time) {
    while (!before.empty() && before.front().sample.GetTimeStamp().epochMicroseconds() <
                                  time - filter.before.count()) {
        before.pop_front();
    }
}

void RuleWatch::AddContext(const tsn::Sample& sample, std::uintptr_t row) {
    const std::int64_t time = sample.GetTimeStamp().epochMicroseconds();
    if (time <= afterUntil) {
        Write("after", sample, row);
    } else if (filter.before.count() > 0) {
        DropOld(time);
        before.push_back({sample, row});
    }
}

}  // namespace velmora::tool
