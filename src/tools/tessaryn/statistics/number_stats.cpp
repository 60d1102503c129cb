// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "statistics/number_stats.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velmora::tool {

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

}  // namespace

void NumberStats::Add(double value) {
    minimum = count == 0 ? value : std::min(minimum, value);
    maximum = count == 0 ? value : std::max(maximum, value);
    ++count;
    const double difference = value - mean;
    mean += difference / static_cast<double>(count);
    squares += difference * (value - mean);
    if (kept.size() < maxKept) {
        kept.push_back(value);
        return;
    }
    // Each number is kept with the same probability.
    const double share =
        static_cast<double>(random() - 1) / static_cast<double>(std::minstd_rand::max() - 1);
    const auto place = static_cast<std::uint64_t>(share * static_cast<double>(count));
    if (place < maxKept) {
        kept[static_cast<std::size_t>(place)] = value;
    }
}

double NumberStats::GetMin() const {
    return count == 0 ? notANumber : minimum;
}

double NumberStats::GetMax() const {
    return count == 0 ? notANumber : maximum;
}

double NumberStats::GetMean() const {
    return count == 0 ? notANumber : mean;
}

double NumberStats::GetDeviation() const {
    return count < 2 ? notANumber : std::sqrt(squares / static_cast<double>(count - 1));
}

double NumberStats::GetQuantile(double share) {
    if (kept.empty()) {
        return notANumber;
    }
    const double rank = std::ceil(share * static_cast<double>(kept.size()));
    const auto place =
        kept.begin() + std::max<std::ptrdiff_t>(0, static_cast<std::ptrdiff_t>(rank) - 1);
    std::nth_element(kept.begin(), place, kept.end());
    return *place;
}

}  // namespace velmora::tool
