// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/condition.h"
#include "delivery/entry_reader.h"
#include "delivery/export.h"
#include "delivery/rule.h"

#include <Poco/Timestamp.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// \file
/// Conditions that let changes of a stream through as they are. Those that give samples of a type
/// of their own stand in `delivery/aggregates.h`. A change without the entry that a condition looks
/// at does not pass and changes nothing.

namespace velmora::delivery {

/// Lets a change through when an entry's elements differ from those of the change let through
/// last. The first change goes through. NaN equals NaN.
class DELIVERY_API OnChange : public CloneableCondition<OnChange> {
  public:
    /// \param entry the entry's name; of any type and size
    explicit OnChange(const std::string& entry);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;

  private:
    EntryReader entry;
    std::optional<core::tessaryn::Sample> last;
};

/// The share of a range, in percent, that a `Deadband` ignores.
struct PercentOfRange {
    double percent;
    double low;
    double high;
};

/// Lets a change through when an element of a numeric entry is further than a limit from what it
/// was in the change let through last, when the number of elements differs, or when an element has
/// become NaN or a number again. One element beyond the limit is enough, as in OPC UA's data change
/// filter (OPC 10000-4, 7.22.2). The first change goes through.
class DELIVERY_API Deadband : public CloneableCondition<Deadband> {
  public:
    /// \param entry the entry's name
    /// \param absolute the limit, in the entry's unit; not negative
    /// \throws std::invalid_argument for a negative limit or NaN
    Deadband(const std::string& entry, double absolute);
    /// \throws std::invalid_argument for a negative percentage, an empty range or NaN
    Deadband(const std::string& entry, const PercentOfRange& share);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;

  private:
    bool IsBeyond(const core::tessaryn::Sample& sample, unsigned int size) const;

    EntryReader entry;
    double limit;
    bool isFirst = true;
    std::vector<double> last;
};

/// Lets a change through when the first element of an entry has reached one threshold, and when it
/// has come back to the other: a switch with two positions, off at first. NaN changes nothing.
class DELIVERY_API Hysteresis : public CloneableCondition<Hysteresis> {
  public:
    /// \param entry the entry's name
    /// \param on switches on: at this value or beyond it, as seen from `off`
    /// \param off switches off: at this value or beyond it, as seen from `on`
    /// \throws std::invalid_argument when both are equal or one is NaN
    Hysteresis(const std::string& entry, double on, double off);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;

  private:
    EntryReader entry;
    double on;
    double off;
    bool isOn = false;
};

/// Lets the change through with which a rule becomes true. It counts as false before the first.
class DELIVERY_API Rising : public CloneableCondition<Rising> {
  public:
    explicit Rising(Rule rule);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;

  private:
    Rule rule;
    bool wasTrue = false;
};

/// Lets the change through with which a rule stops being true.
class DELIVERY_API Falling : public CloneableCondition<Falling> {
  public:
    explicit Falling(Rule rule);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;

  private:
    Rule rule;
    bool wasTrue = false;
};

/// Lets a change through when a rule has been true for a time without a break: the first change at
/// or after that time, once until the rule has been false again.
class DELIVERY_API HeldFor : public CloneableCondition<HeldFor> {
  public:
    /// \param duration event time from the first change for which the rule was true; not negative
    HeldFor(Rule rule, std::chrono::microseconds duration);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;

  private:
    Rule rule;
    std::chrono::microseconds duration;
    std::optional<Poco::Timestamp> since;
    bool isDone = false;
};

/// Lets at most one change through in an interval of event time. The latest of those held back
/// follows when the interval is over: right before the next change, or at `Flush`; the next
/// interval begins where the one before ended.
class DELIVERY_API MinInterval : public CloneableCondition<MinInterval> {
  public:
    /// \param interval longer than zero
    /// \throws std::invalid_argument when it is not
    explicit MinInterval(std::chrono::microseconds interval);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;
    void Flush(const Poco::Timestamp& now, Sink& sink) override;

  private:
    struct Held {
        core::tessaryn::StreamChangeType changeType;
        core::tessaryn::Sample sample;
        void* sender;
    };

    std::chrono::microseconds interval;
    /// When the next change may go through; none before the first.
    std::optional<Poco::Timestamp> due;
    std::optional<Held> held;
};

/// Lets the first change through and each n-th after it.
class DELIVERY_API EveryNth : public CloneableCondition<EveryNth> {
  public:
    /// \throws std::invalid_argument when n is 0
    explicit EveryNth(std::size_t n);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;

  private:
    std::size_t n;
    std::size_t passed = 0;
};

}  // namespace velmora::delivery
