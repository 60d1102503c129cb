// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/model.h"
#include "storage/history.h"
#include "storage/history_reader.h"
#include "tessaryn/sample.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
class Stream;
}

namespace velmora::inspector {

/// Times in microseconds since the Unix epoch, both included.
///
/// \threadsafety external
struct TimeRange {
    std::int64_t from = std::numeric_limits<std::int64_t>::min();
    std::int64_t to = std::numeric_limits<std::int64_t>::max();
};

/// Copies the samples of a range of time, some hundreds at a time, so that nothing is locked while
/// they are used.
///
/// \threadsafety external
class SampleBatches {
  public:
    SampleBatches() = default;
    SampleBatches(const SampleBatches&) = delete;
    SampleBatches& operator=(const SampleBatches&) = delete;
    virtual ~SampleBatches();
    /// Replaces the samples by the next ones, in the order of time. Their type may live only as
    /// long as this object.
    /// \return whether there may be more
    virtual bool Next(std::vector<core::tessaryn::Sample>& samples) = 0;
};

/// The samples in the ring of a stream. Each batch looks the stream up again, and covers a span of
/// time that is chosen so that it holds few enough samples.
///
/// \threadsafety external
class RingBatches : public SampleBatches {
  public:
    /// \param isBackwards whether the last batch comes first; within a batch, samples ascend in
    /// time
    /// \throws RequestError when there is no such stream
    RingBatches(const Model& model, const std::string& path, const TimeRange& range,
                bool isBackwards);

    bool Next(std::vector<core::tessaryn::Sample>& samples) override;

    /// From the time of the sample pushed first to that of the one pushed last; none for an empty
    /// ring.
    std::optional<TimeRange> GetTimes() const { return times; }

  private:
    TimeRange ChooseWindow() const;
    bool Copy(const core::tessaryn::Stream& stream, const TimeRange& window,
              std::vector<core::tessaryn::Sample>& samples) const;
    bool Pass(const TimeRange& window, std::size_t count);

    const Model& model;
    std::string path;
    TimeRange rest;
    bool isBackwards;
    std::optional<TimeRange> times;
    /// Of a window, in microseconds.
    std::uint64_t step = std::numeric_limits<std::uint64_t>::max();
    /// Samples copied so far from a window of a single time.
    std::size_t skipped = 0;
};

/// The samples of a stream in the history.
///
/// \threadsafety external
class HistoryBatches : public SampleBatches {
  public:
    /// \throws RequestError when there is no history; storage::HistoryException
    HistoryBatches(const Model& model, const std::string& path, const TimeRange& range,
                   bool isBackwards);

    bool Next(std::vector<core::tessaryn::Sample>& samples) override;

  private:
    std::string path;
    storage::History history;
    storage::HistoryReader reader;
    bool isBackwards;
};

/// The samples of the first source, then those of the second.
///
/// \threadsafety external
class ChainedBatches : public SampleBatches {
  public:
    ChainedBatches(std::unique_ptr<SampleBatches> first, std::unique_ptr<SampleBatches> second)
        : first(std::move(first)), second(std::move(second)) {}

    bool Next(std::vector<core::tessaryn::Sample>& samples) override;

  private:
    std::unique_ptr<SampleBatches> first;
    std::unique_ptr<SampleBatches> second;
    bool isSecond = false;
};

}  // namespace velmora::inspector
