// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/condition.h"
#include "delivery/entry_reader.h"
#include "delivery/export.h"
#include "delivery/rule.h"
#include "tessaryn/stream_type.h"

#include <Poco/Timestamp.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// \file
/// Conditions that replace the stream's samples by samples of their own stream type. The type
/// lives as long as the condition or a copy of it, so streams of that type, and samples that a
/// handler keeps, must not outlive all of these.

namespace velmora::delivery {

/// Count, extremes, mean and latest of a series of numbers.
///
/// \threadsafety external
class DELIVERY_API NumberSummary {
  public:
    /// \param value NaN is not counted
    void Add(double value);
    std::uint64_t GetCount() const { return count; }
    /// These are NaN while nothing was counted.
    double GetMin() const;
    double GetMax() const;
    double GetMean() const;
    double GetLast() const;

  private:
    std::uint64_t count = 0;
    double minimum = 0;
    double maximum = 0;
    double last = 0;
    /// Extended precision keeps the mean of a long window accurate to a `double`.
    long double sum = 0;
};

/// Summarises the changes of each window of event time, or of each n changes. Windows neither
/// overlap nor leave gaps; a window without a change gives no sample.
///
/// A window of time covers [k × duration, (k + 1) × duration) since the Unix epoch. Its sample
/// comes with the first change behind it, or at `Flush`. The sample is stamped with the window's
/// end; one of n changes with the time of the last.
///
/// Entries: `begin` and `end` (Int64, microseconds since the Unix epoch; the end is exclusive for
/// windows of time, the last change's time for windows of n), `count` (UInt64, changes), and for
/// each numeric entry of one element `x` of the source's type: `x_count` (UInt64, without NaN),
/// `x_min`, `x_max`, `x_mean`, `x_last` (Double, NaN where `x_count` is 0).
class DELIVERY_API Window : public CloneableCondition<Window> {
  public:
    /// \param source the type of the samples to sum up: its entries of one number are taken
    /// \param duration length of a window, longer than zero
    /// \throws std::invalid_argument when it is not
    Window(const core::tessaryn::StreamType& source, std::chrono::microseconds duration);
    /// \param changes length of a window, at least 1
    /// \throws std::invalid_argument when it is 0
    Window(const core::tessaryn::StreamType& source, std::size_t changes);

    /// The type of the emitted samples.
    /// \return \ownership lends: as long as this condition or a copy lives
    core::tessaryn::StreamType* GetType() const { return type.get(); }

    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;
    void Flush(const Poco::Timestamp& now, Sink& sink) override;

  private:
    struct Column {
        EntryReader entry;
        NumberSummary summary;
    };

    void AddColumns(const core::tessaryn::StreamType& source);
    void Close(Sink& sink);

    std::shared_ptr<core::tessaryn::StreamType> type;
    std::vector<Column> columns;
    /// One of the two is 0.
    Poco::Timestamp::TimeDiff duration = 0;
    std::size_t maxCount = 0;
    /// State of the open window; a count of 0 means that none is open.
    std::uint64_t count = 0;
    Poco::Timestamp begin;
    Poco::Timestamp end;
};

/// Summarises each event: a run of changes for which a rule is true. The sample is emitted at the
/// first change for which the rule is false, or at `Flush`, with the event's end as its time.
///
/// Entries: `begin` and `end` (Int64, microseconds since the Unix epoch: the first and the last
/// change for which the rule was true), `count` (UInt64, changes), and for each chosen entry `x`
/// `x_min` and `x_max` (Double, over all its elements, NaN where there was no number).
class DELIVERY_API Events : public CloneableCondition<Events> {
  public:
    /// \param rule true during an event
    /// \param entries the entries to take the extremes of
    explicit Events(Rule rule, const std::vector<std::string>& entries = {});

    /// The type of the emitted samples.
    /// \return \ownership lends: as long as this condition or a copy lives
    core::tessaryn::StreamType* GetType() const { return type.get(); }

    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) override;
    void Flush(const Poco::Timestamp& now, Sink& sink) override;

  private:
    struct Column {
        EntryReader entry;
        NumberSummary summary;
    };

    std::shared_ptr<core::tessaryn::StreamType> type;
    Rule rule;
    std::vector<Column> columns;
    /// State of the open event; a count of 0 means that none is open.
    std::uint64_t count = 0;
    Poco::Timestamp begin;
    Poco::Timestamp end;
};

}  // namespace velmora::delivery
