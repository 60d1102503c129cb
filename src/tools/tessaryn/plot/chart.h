// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "text/time_printer.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tool {

struct Point {
    std::int64_t time;
    double value;
};

/// An event: a time in which a rule was true.
struct ChartEvent {
    std::string label;
    std::int64_t begin;
    std::int64_t end;
};

/// One entry of a stream over time.
struct Chart {
    std::string stream;
    std::string entry;
    std::string unit;
    /// In the order of time.
    std::vector<Point> points;
};

/// The content of a plot: charts below each other with a common time axis, and the events of their
/// streams.
struct Report {
    struct StreamEvent {
        std::string stream;
        ChartEvent event;
    };

    std::string title;
    std::vector<Chart> charts;
    std::vector<StreamEvent> events;

    /// The times of the first and the last point of all charts; the end is later than the begin.
    std::pair<std::int64_t, std::int64_t> GetRange() const;
};

/// The points to draw: the smallest and the largest value of each of a number of time intervals, in
/// the order of time, so that no peak is lost. Fewer points are returned unchanged.
/// \param points in the order of time
std::vector<Point> Thin(const std::vector<Point>& points, std::size_t intervals);

/// Charts as text, with braille dots if the terminal can show them.
/// \param width characters of a line
std::string DrawText(const Report& report, TimePrinter& times, std::size_t width, bool isUnicode);

/// A self-contained page with charts to zoom, whose values are shown below the pointer.
std::string DrawHtml(const Report& report, TimePrinter& times);

/// A self-contained picture.
std::string DrawSvg(const Report& report, TimePrinter& times);

}  // namespace velmora::tool
