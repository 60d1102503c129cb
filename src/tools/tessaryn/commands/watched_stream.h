// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/rule_watch.h"
#include "source/sample_source.h"
#include "storage/document.h"
#include "tessaryn/named_object.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace velmora::tool {

/// The state that all streams of a run share.
struct WatchRun {
    const WatchOptions& options;
    WatchFilter filter;
    std::deque<NamedRule> rules;
    /// \ownership observes: where streams are kept; null if they are not
    core::tessaryn::Document* document = nullptr;
    StandardOutput& output;
    TimePrinter times;
    std::vector<std::string> columns;
};

/// Counts of rows that are out of order.
struct TimeOrder {
    std::int64_t newest = INT64_MIN;
    /// Rows whose time lies before that of an earlier row.
    std::uint64_t late = 0;
    /// Rows with the same time as the previous one.
    std::uint64_t repeated = 0;

    void Add(std::int64_t time) {
        late += time < newest ? 1U : 0U;
        repeated += time == newest ? 1U : 0U;
        newest = std::max(newest, time);
    }
};

/// A stream that sources are read into, with the rules that watch it.
class WatchedStream {
  public:
    /// \param name the stream's name; its type has it, too
    /// \param entries of the source
    /// \param units of the entries
    /// \param run \ownership observes
    /// \throws std::invalid_argument when the document's stream has other entries, the name cannot
    /// be kept, or the size is not 1 to 2^31-1
    WatchedStream(const std::string& name, const core::tessaryn::StreamType& entries,
                  const std::vector<std::string>& units, WatchRun& run);
    WatchedStream(const WatchedStream&) = delete;
    WatchedStream& operator=(const WatchedStream&) = delete;

    /// Refuses samples of other entries.
    /// \throws CommandError
    void CheckEntries(const core::tessaryn::StreamType& entries) const;

    /// Pushes the row that a source has read.
    void Push(SampleSource& source);

    /// Reports the samples held back, at the end of the run.
    void Flush();

    /// Why a push has thrown; empty if it was not a rule.
    std::string DescribeFailure() const;

    const std::string& GetName() const { return name.name; }
    /// Samples read.
    std::uint64_t GetSamples() const { return samples; }
    const TimeOrder& GetOrder() const { return order; }
    /// Samples kept in the document that were not there before.
    std::uint64_t GetKept() const { return kept; }
    /// Samples that the document's ring dropped.
    std::uint64_t GetDropped() const;

  private:
    struct StreamName : core::INamedObject {
        explicit StreamName(const std::string& name) : name(name) {}
        std::string GetName() const override { return name; }
        std::string GetFullName() const override { return name; }
        std::string name;
    };

    void Open();
    void AddRule(NamedRule& rule);
    void KeepRow(const core::tessaryn::Sample& sample, std::uintptr_t row);
    void Keep(core::tessaryn::Stream& target, const core::tessaryn::Sample& sample);

    StreamName name;
    core::tessaryn::StreamType type;
    WatchRun& run;
    std::unique_ptr<SampleReporter> reporter;
    std::unique_ptr<core::tessaryn::Stream> temporary;
    /// The sample read last, if rules are evaluated without a stream.
    core::tessaryn::Sample newest;
    bool isDirect = false;
    /// The watched stream: one of the document, or one that ends with the run.
    core::tessaryn::Stream* stream = nullptr;
    // The stream's delegates point to the elements, whose addresses must not change.
    std::deque<RuleWatch> rules;
    /// Streams of the document.
    std::vector<core::tessaryn::Stream*> keptStreams;
    std::uint64_t keptBefore = 0;
    std::uint64_t samples = 0;
    std::uint64_t kept = 0;
    /// Rows that are already kept, since several rules may select one. The newest ones, up to the
    /// stream's capacity.
    std::set<std::uintptr_t> keptRows;
    TimeOrder order;
};

}  // namespace velmora::tool
