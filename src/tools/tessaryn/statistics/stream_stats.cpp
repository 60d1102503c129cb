// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "statistics/stream_stats.h"

#include "text/value_text.h"

#include <algorithm>
#include <cmath>

namespace velmora::tool {

namespace tsn = core::tessaryn;

void GapFinder::Add(std::int64_t time) {
    constexpr std::size_t maxFirst = 1000;
    if (newest && time > *newest) {
        const Interval interval{*newest, time - *newest};
        if (gaps.limit > 0) {
            Judge(interval);
        } else {
            first.push_back(interval);
        }
        if (first.size() == maxFirst) {
            SetLimit();
        }
    }
    newest = std::max(time, newest.value_or(time));
}

GapFinder::Gaps GapFinder::Get() {
    if (!first.empty()) {
        SetLimit();
    }
    return gaps;
}

void GapFinder::SetLimit() {
    std::vector<std::int64_t> lengths;
    for (const Interval& interval : first) {
        lengths.push_back(interval.length);
    }
    const auto middle = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() / 2);
    std::nth_element(lengths.begin(), middle, lengths.end());
    gaps.limit = 2 * *middle;
    for (const Interval& interval : first) {
        Judge(interval);
    }
    first.clear();
}

void GapFinder::Judge(const Interval& interval) {
    if (interval.length <= gaps.limit) {
        return;
    }
    ++gaps.count;
    if (interval.length > gaps.longest) {
        gaps.longest = interval.length;
        gaps.longestBegin = interval.begin;
    }
}

void StreamStats::Add(const Row& row) {
    if (rows == 0) {
        MakePlaces(row);
        first = last = row.time;
    }
    ++rows;
    late += row.time < last ? 1U : 0U;
    first = std::min(first, row.time);
    last = std::max(last, row.time);
    for (Place& place : places) {
        const unsigned int size = row.sample.GetSize(place.id);
        for (auto index = static_cast<unsigned int>(place.elements.size()); index < size; ++index) {
            place.elements.push_back(AddEntry(row, place, index));
        }
        for (unsigned int i = 0; i < place.elements.size(); ++i) {
            Entry& entry = entries[place.elements[i]];
            if (i >= size) {
                ++entry.missing;
                continue;
            }
            double value = 0;
            VisitGetter(place.type, [&](auto getter) {
                value = static_cast<double>((row.sample.*getter)(place.id, i));
            });
            if (std::isnan(value)) {
                ++entry.missing;
            } else {
                entry.numbers.Add(value);
            }
        }
    }
}

void StreamStats::MakePlaces(const Row& row) {
    for (unsigned short id = 0; id < row.type.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = row.type.GetEntry(id);
        if (entry.type == tsn::String) {
            continue;
        }
        places.push_back({id, entry.type, {}});
        // An entry without values is listed as well.
        for (unsigned int i = 0; i < std::max(entry.initialSize, 1U); ++i) {
            places.back().elements.push_back(AddEntry(row, places.back(), i));
        }
    }
}

std::size_t StreamStats::AddEntry(const Row& row, const Place& place, unsigned int index) {
    const tsn::SampleEntry entry = row.type.GetEntry(place.id);
    const bool isSingle = entry.initialSize == 1 && index == 0;
    entries.push_back({entry.key + (isSingle ? "" : "[" + std::to_string(index) + "]"),
                       place.id < row.units.size() ? row.units[place.id] : ""});
    // An element that comes later was missing so far.
    entries.back().missing = rows == 0 ? 0 : rows - 1;
    return entries.size() - 1;
}

}  // namespace velmora::tool
