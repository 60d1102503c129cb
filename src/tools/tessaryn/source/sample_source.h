// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velmora::tool {

/// How much of a source was read.
struct SourceProgress {
    std::uint64_t bytesRead = 0;
    /// Bytes of the source; 0 for a source without a size.
    std::uint64_t bytes = 0;
};

/// Counts of a source for the summary at the end.
struct SourceCounts {
    /// Cells without a value.
    std::uint64_t missingValues = 0;
    /// Rows that were skipped since they have no time.
    std::uint64_t missingTimes = 0;
    /// Bad rows that were skipped, and what was wrong with the first of them.
    std::uint64_t skipped = 0;
    std::string firstSkipped;

    void Add(const SourceCounts& more) {
        if (skipped == 0) {
            firstSkipped = more.firstSkipped;
        }
        skipped += more.skipped;
        missingTimes += more.missingTimes;
        missingValues += more.missingValues;
    }
};

/// A source of samples.
///
///     while (source.Next()) {
///         Sample sample(type, source.GetTime());
///         source.Fill(sample);
///     }
class SampleSource {
  public:
    SampleSource() = default;
    SampleSource(const SampleSource&) = delete;
    SampleSource& operator=(const SampleSource&) = delete;
    virtual ~SampleSource() = default;

    /// Sets a function that is called each time before the source may wait for data.
    virtual void BeforeWait(std::function<void(const SourceProgress&)> action) = 0;

    /// Adds the source's entries to an empty type; waits until they are known.
    /// \return false when the run ended before that
    /// \throws CommandError when the source cannot be read
    virtual bool Open(core::tessaryn::StreamType& type) = 0;

    /// Reads the next row; waits for it.
    /// \return false at the end of the source, or of the run
    /// \throws CommandError when the source cannot be read, or a row of it is bad
    virtual bool Next() = 0;

    // What `Next` read.

    /// Microseconds since the Unix epoch.
    virtual std::int64_t GetTime() const = 0;
    /// Sets the entries of a sample of the source's type; the time may change, but for that of a
    /// sample that was made with `GetTime`.
    virtual void Fill(core::tessaryn::Sample& sample) = 0;
    /// Whether each row has its own type; `Open` then adds no entries.
    virtual bool HasRowTypes() const { return false; }
    /// The type of the row, if `HasRowTypes`.
    /// \return \ownership lends: as long as the source
    virtual core::tessaryn::StreamType* GetRowType() const { return nullptr; }
    /// The stream that the row belongs to; empty for that of the source.
    virtual std::string_view GetStreamName() const { return {}; }
    /// The row's position in the source, for messages.
    virtual std::string GetPosition() const = 0;

    /// Units of the entries, in their order, empty for those without; known once the source is
    /// open.
    virtual std::vector<std::string> GetUnits() const { return {}; }
    /// Notes for the user, known once the source is open.
    virtual std::vector<std::string> GetNotes() const { return {}; }
    virtual SourceCounts GetCounts() const { return {}; }
};

}  // namespace velmora::tool
