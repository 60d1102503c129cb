// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/conditions.h"

#include "tessaryn/sample.h"

#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

namespace velmora::delivery {

using core::tessaryn::Sample;
using core::tessaryn::SubscriptionArgs;

namespace {

double CheckedLimit(double limit) {
    if (!(limit >= 0)) {
        throw std::invalid_argument("A deadband is not negative and not NaN.");
    }
    return limit;
}

double LimitOf(const PercentOfRange& share) {
    if (!(share.low < share.high)) {
        throw std::invalid_argument("A deadband in percent needs a range: low below high.");
    }
    return CheckedLimit(share.percent / 100 * (share.high - share.low));
}

// The time a duration later; the latest possible time if that overflows.
Poco::Timestamp Later(const Poco::Timestamp& time, std::chrono::microseconds duration) {
    Poco::Timestamp::TimeVal sum = 0;
    const bool overflows = __builtin_add_overflow(time.epochMicroseconds(), duration.count(), &sum);
    return overflows ? Poco::Timestamp::TIMEVAL_MAX : sum;
}

}  // namespace

OnChange::OnChange(const std::string& entry) : entry(entry) {}

void OnChange::Process(SubscriptionArgs& change, Sink& sink) {
    const Sample& sample = *change.sample;
    if (!entry.Find(sample)) {
        return;
    }
    // In a sample of another type, the entry of that name may be another one.
    if (last && last->GetStreamType() == sample.GetStreamType() && entry.IsEqual(*last, sample)) {
        return;
    }
    last = sample;
    sink.Emit(change);
}

Deadband::Deadband(const std::string& entry, double absolute)
    : entry(entry), limit(CheckedLimit(absolute)) {}

Deadband::Deadband(const std::string& entry, const PercentOfRange& share)
    : entry(entry), limit(LimitOf(share)) {}

void Deadband::Process(SubscriptionArgs& change, Sink& sink) {
    const Sample& sample = *change.sample;
    if (!entry.Find(sample) || !entry.IsNumeric()) {
        return;
    }
    const unsigned int size = entry.GetSize(sample);
    if (!isFirst && !IsBeyond(sample, size)) {
        return;
    }
    isFirst = false;
    last.resize(size);
    for (unsigned int i = 0; i < size; ++i) {
        last[i] = entry.GetNumber(sample, i);
    }
    sink.Emit(change);
}

bool Deadband::IsBeyond(const Sample& sample, unsigned int size) const {
    if (size != last.size()) {
        return true;
    }
    for (unsigned int i = 0; i < size; ++i) {
        const double value = entry.GetNumber(sample, i);
        const bool sameInfinity = value == last[i];
        if (std::isnan(value) != std::isnan(last[i]) ||
            (!sameInfinity && std::abs(value - last[i]) > limit)) {
            return true;
        }
    }
    return false;
}

Hysteresis::Hysteresis(const std::string& entry, double on, double off)
    : entry(entry), on(on), off(off) {
    if (!(on < off) && !(off < on)) {
        throw std::invalid_argument("A hysteresis needs two different thresholds.");
    }
}

void Hysteresis::Process(SubscriptionArgs& change, Sink& sink) {
    const Sample& sample = *change.sample;
    if (!entry.Find(sample) || !entry.IsNumeric() || entry.GetSize(sample) == 0) {
        return;
    }
    const double value = entry.GetNumber(sample, 0);
    const bool reachesOn = on > off ? value >= on : value <= on;
    const bool reachesOff = on > off ? value <= off : value >= off;
    if (isOn ? reachesOff : reachesOn) {
        isOn = !isOn;
        sink.Emit(change);
    }
}

Rising::Rising(Rule rule) : rule(std::move(rule)) {}

void Rising::Process(SubscriptionArgs& change, Sink& sink) {
    const bool isTrue = rule.Applies(change);
    if (std::exchange(wasTrue, isTrue) < isTrue) {
        sink.Emit(change);
    }
}

Falling::Falling(Rule rule) : rule(std::move(rule)) {}

void Falling::Process(SubscriptionArgs& change, Sink& sink) {
    const bool isTrue = rule.Applies(change);
    if (std::exchange(wasTrue, isTrue) > isTrue) {
        sink.Emit(change);
    }
}

HeldFor::HeldFor(Rule rule, std::chrono::microseconds duration)
    : rule(std::move(rule)), duration(duration) {
    if (duration.count() < 0) {
        throw std::invalid_argument("A rule cannot hold for a negative duration.");
    }
}

void HeldFor::Process(SubscriptionArgs& change, Sink& sink) {
    if (!rule.Applies(change)) {
        since.reset();
        isDone = false;
        return;
    }
    const Poco::Timestamp time = change.sample->GetTimeStamp();
    if (!since) {
        since = time;
    }
    if (!isDone && time >= Later(*since, duration)) {
        isDone = true;
        sink.Emit(change);
    }
}

MinInterval::MinInterval(std::chrono::microseconds interval) : interval(interval) {
    if (interval.count() <= 0) {
        throw std::invalid_argument("An interval is longer than zero.");
    }
}

void MinInterval::Process(SubscriptionArgs& change, Sink& sink) {
    const Poco::Timestamp time = change.sample->GetTimeStamp();
    Flush(time, sink);
    if (due && time < *due) {
        held.emplace(Held{change.changeType, *change.sample, change.sender});
        return;
    }
    due = Later(time, interval);
    sink.Emit(change);
}

void MinInterval::Flush(const Poco::Timestamp& now, Sink& sink) {
    if (!held || now < *due) {
        return;
    }
    due = Later(*due, interval);
    Held last = std::move(*held);
    held.reset();
    SubscriptionArgs change{last.changeType, &last.sample, last.sender};
    sink.Emit(change);
}

EveryNth::EveryNth(std::size_t n) : n(n) {
    if (n == 0) {
        throw std::invalid_argument("There is no 0th change.");
    }
}

void EveryNth::Process(SubscriptionArgs& change, Sink& sink) {
    const bool passes = passed == 0;
    passed = passed + 1 == n ? 0 : passed + 1;
    if (passes) {
        sink.Emit(change);
    }
}

}  // namespace velmora::delivery
