// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/aggregates.h"
#include "tessaryn/sample.h"
#include "transfer/named_type.h"
#include "transfer/sample_reader.h"
#include "transfer/sample_writer.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// Combines the samples of each interval into one: it has the requested figures of each entry that
/// is a number, and the last value of the others.
///
/// Intervals begin at multiples of their length since the Unix epoch; the sample gets the time of
/// the beginning. A sample that is out of order counts for the current interval.
class Resampler {
  public:
    /// \param sources the layouts of the samples that will be added
    /// \param figures "mean", "min", "max" or "last"; with one figure entries keep their names,
    /// with several they become "x_mean" and so on
    /// \throws CommandError when there is no such figure, or one comes twice
    Resampler(const std::vector<StreamLayout>& sources, std::chrono::microseconds interval,
              const std::vector<std::string>& figures);

    /// The layouts of the results.
    const std::vector<StreamLayout>& GetStreams() const { return layouts; }

    /// Adds a sample; writes the previous interval if that is over.
    void Add(const std::string& path, const core::tessaryn::Sample& sample, SampleWriter& writer);
    /// Writes the open intervals.
    void Finish(SampleWriter& writer);

  private:
    enum class Figure { mean, min, max, last };

    /// An entry of the samples and, for a number, the figures of its values.
    struct Column {
        unsigned short id;
        bool isNumber;
        delivery::NumberSummary numbers{};
    };

    /// One of the sources' layouts.
    struct Series {
        explicit Series(const std::string& typeName) : type(typeName, utils::Version(1, 0, 0)) {}

        NamedType type;
        std::vector<Column> columns{};
        std::int64_t begin = 0;
        /// The last sample of the interval; none if it has no sample.
        std::optional<core::tessaryn::Sample> last{};
    };

    void AddSeries(const StreamLayout& source, const std::vector<std::string>& names);
    void Write(std::size_t index, SampleWriter& writer);

    std::vector<StreamLayout> sources;
    LayoutIndex index{sources};
    std::int64_t length;
    std::vector<Figure> figures;
    std::deque<Series> series;
    std::vector<StreamLayout> layouts;
};

}  // namespace velmora::tool
