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

/// Makes one sample of those of each interval: of an entry of one number the figures that are asked
/// for, of each other entry its last value.
///
/// Intervals begin at multiples of their length since the Unix epoch; the sample has the time of
/// the begin. A sample that is out of order counts for the interval before it.
class Resampler {
  public:
    /// \param sources what will be added
    /// \param figures "mean", "min", "max" or "last"; of one, entries keep their names, of several
    /// they are "x_mean" and so on
    /// \throws CommandError when there is no such figure, or one comes twice
    Resampler(const std::vector<StreamLayout>& sources, std::chrono::microseconds interval,
              const std::vector<std::string>& figures);

    /// What is written.
    const std::vector<StreamLayout>& GetStreams() const { return layouts; }

    /// Adds a sample, and writes the interval before it where that is over.
    void Add(const std::string& path, const core::tessaryn::Sample& sample, SampleWriter& writer);
    /// Writes the intervals that are not over.
    void Finish(SampleWriter& writer);

  private:
    enum class Figure { mean, min, max, last };

    /// An entry of the samples and, of a number, what is known of its values.
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
        /// The sample that was added last; none in an interval without one.
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
