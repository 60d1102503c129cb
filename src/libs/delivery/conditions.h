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
/// Conditions that let changes through unchanged. Those that emit samples of their own type
/// are in `delivery/aggregates.h`. A change that lacks the entry of a condition does not pass and
/// does not affect its state.

namespace velmora::delivery {

/// Lets a change through when an entry's elements differ from those of the last change let through.
/// The first change passes. NaN equals NaN.
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

/// Compares a numeric entry with that of the last change let through. Lets a change through when an
/// element differs by more than a limit, when the number of elements differs, or when an element
/// has become NaN or a number again. One element beyond the limit is enough, as in OPC UA's data
/// change filter (OPC 10000-4, 7.22.2). The first change passes.
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

/// A switch with hysteresis, off at first: lets a change through when the first element of an entry
/// reaches the threshold that switches it on, and when it returns to the one that switches it off.
/// NaN is ignored.
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

/// Lets a change through when a rule becomes true. The rule counts as false before the first
/// change.
class DELIVERY_API Rising : public CloneableCondition<Rising> {
  public:
    explicit Rising(Rule rule);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;

  private:
    Rule rule;
    bool wasTrue = false;
};

/// Lets a change through when a rule becomes false.
class DELIVERY_API Falling : public CloneableCondition<Falling> {
  public:
    explicit Falling(Rule rule);
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;

  private:
    Rule rule;
    bool wasTrue = false;
};

/// Lets a change through when a rule has been true without a break for a time: the first change at
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
/// follows when the interval is over: right before the next change, or at `Flush`. The next
/// interval begins where this one ended.
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
    /// When the next change may pass; none before the first.
    std::optional<Poco::Timestamp> due;
    std::optional<Held> held;
};

/// Lets the first change and each n-th after it through.
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
