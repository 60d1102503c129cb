// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "plot/chart.h"

#include <algorithm>
#include <utility>

namespace velmora::tool {

std::pair<std::int64_t, std::int64_t> Report::GetRange() const {
    std::int64_t begin = INT64_MAX;
    std::int64_t end = INT64_MIN;
    for (const Chart& chart : charts) {
        if (!chart.points.empty()) {
            begin = std::min(begin, chart.points.front().time);
            end = std::max(end, chart.points.back().time);
        }
    }
    return begin > end ? std::pair<std::int64_t, std::int64_t>(0, 1)
                       : std::pair(begin, std::max(end, begin + 1));
}

std::vector<Point> Thin(const std::vector<Point>& points, std::size_t intervals) {
    if (points.size() <= 2 * intervals) {
        return points;
    }
    std::vector<Point> thinned;
    const std::int64_t begin = points.front().time;
    const auto length = static_cast<double>(points.back().time - begin + 1);
    const auto intervalOf = [&](const Point& point) {
        return static_cast<std::size_t>(static_cast<double>(point.time - begin) / length *
                                        static_cast<double>(intervals));
    };
    for (std::size_t from = 0; from < points.size();) {
        const std::size_t interval = intervalOf(points[from]);
        std::size_t to = from;
        std::size_t low = from;
        std::size_t high = from;
        for (; to < points.size() && intervalOf(points[to]) == interval; ++to) {
            low = points[to].value < points[low].value ? to : low;
            high = points[to].value > points[high].value ? to : high;
        }
        thinned.push_back(points[std::min(low, high)]);
        if (low != high) {
            thinned.push_back(points[std::max(low, high)]);
        }
        from = to;
    }
    return thinned;
}

}  // namespace velmora::tool
