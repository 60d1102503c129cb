// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/condition_group.h"

#include <algorithm>
#include <bit>
#include <tuple>

namespace velmora::core::tessaryn {

namespace {

// Between two texts there is a rank for all that lie between them.
std::uint64_t RankOf(std::size_t index) {
    return 2 * std::uint64_t{index} + 1;
}

std::size_t SlotOf(std::uint64_t value, std::size_t tableSize) {
    const std::uint64_t mixed = (value ^ (value >> 32U)) * 0x9E3779B97F4A7C15U;
    return static_cast<std::size_t>(mixed >> 32U) & (tableSize - 1);
}

}  // namespace

ConditionGroup::ConditionGroup(Form form, bool isText, std::vector<Entry> entries) : form(form) {
    if (isText) {
        RankTexts(entries);
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        // Of intervals that begin together those that match are the first ones.
        return std::tie(a.value, a.low, b.high, a.position) <
               std::tie(b.value, b.low, a.high, b.position);
    });
    const bool hasValue = form != Form::interval;
    const bool hasInterval = form != Form::value;
    values.reserve(hasValue ? entries.size() : 0);
    lows.reserve(hasInterval ? entries.size() : 0);
    highs.reserve(hasInterval ? entries.size() : 0);
    positions.reserve(entries.size());
    for (const Entry& entry : entries) {
        if (hasValue) {
            values.push_back(entry.value);
        }
        if (hasInterval) {
            lows.push_back(entry.low);
            highs.push_back(entry.high);
        }
        positions.push_back(entry.position);
    }
    if (hasValue) {
        MakeTable();
    }
    if (hasInterval) {
        MakeLevels();
    }
}

// Replaces the texts by ranks, so that the rest deals with numbers only.
void ConditionGroup::RankTexts(std::vector<Entry>& entries) {
    texts.reserve(entries.size());
    for (const Entry& entry : entries) {
        texts.push_back(entry.text);
    }
    std::sort(texts.begin(), texts.end());
    texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
    texts.shrink_to_fit();
    for (Entry& entry : entries) {
        const auto place = std::lower_bound(texts.begin(), texts.end(), entry.text);
        const std::uint64_t rank = RankOf(static_cast<std::size_t>(place - texts.begin()));
        const std::uint64_t lowOf[] = {0, rank, rank + 1};
        const std::uint64_t highOf[] = {Reading::greatest, rank, rank - 1};
        entry.low = lowOf[entry.low];
        entry.high = highOf[entry.high];
    }
}

void ConditionGroup::MakeTable() {
    std::size_t distinct = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        distinct += i == 0 || values[i] != values[i - 1] ? 1 : 0;
    }
    table.assign(std::bit_ceil(distinct + distinct / 2 + 1), noEntry);
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i > 0 && values[i] == values[i - 1]) {
            continue;
        }
        std::size_t slot = SlotOf(values[i], table.size());
        while (table[slot] != noEntry) {
            slot = (slot + 1) & (table.size() - 1);
        }
        table[slot] = static_cast<std::uint32_t>(i);
    }
}

void ConditionGroup::MakeLevels() {
    for (const std::vector<std::uint64_t>* below = &highs; below->size() > blockSize;
         below = &levels.back()) {
        std::vector<std::uint64_t> level((below->size() + blockSize - 1) / blockSize);
        for (std::size_t i = 0; i < below->size(); ++i) {
            level[i / blockSize] = std::max(level[i / blockSize], (*below)[i]);
        }
        levels.push_back(std::move(level));
    }
}

Reading ConditionGroup::Rank(std::string_view text, bool isAny) const {
    if (text.empty()) {
        return isAny ? Reading{Reading::greatest, 0, false} : Reading();
    }
    const auto place = std::lower_bound(texts.begin(), texts.end(), text);
    const std::uint64_t rank = RankOf(static_cast<std::size_t>(place - texts.begin())) -
                               (place == texts.end() || *place != text ? 1 : 0);
    return {rank, rank, false};
}

void ConditionGroup::Find(const Reading& value, const Reading& interval,
                          std::vector<std::uint32_t>& found) const {
    Range range{0, positions.size()};
    if (form != Form::interval) {
        // Elements of several values do not all equal one.
        if (value.isNone || value.low != value.high) {
            return;
        }
        range = FindValue(value.low);
    }
    if (form != Form::value) {
        if (!interval.isNone) {
            FindIntervals(range, interval, found);
        }
    } else {
        const auto first = positions.begin();
        found.insert(found.end(), first + static_cast<std::ptrdiff_t>(range.begin),
                     first + static_cast<std::ptrdiff_t>(range.end));
    }
}

ConditionGroup::Range ConditionGroup::FindValue(std::uint64_t value) const {
    for (std::size_t slot = SlotOf(value, table.size());; slot = (slot + 1) & (table.size() - 1)) {
        const std::uint32_t begin = table[slot];
        if (begin == noEntry) {
            return {0, 0};
        }
        if (values[begin] == value) {
            std::size_t step = 1;
            while (begin + step < values.size() && values[begin + step] == value) {
                step *= 2;
            }
            const auto first = values.begin() + static_cast<std::ptrdiff_t>(begin + step / 2);
            const auto last =
                values.begin() + static_cast<std::ptrdiff_t>(std::min(begin + step, values.size()));
            return {begin, static_cast<std::size_t>(std::upper_bound(first, last, value) -
                                                    values.begin())};
        }
    }
}

void ConditionGroup::FindIntervals(Range range, const Reading& interval,
                                   std::vector<std::uint32_t>& found) const {
    const auto first = lows.begin() + static_cast<std::ptrdiff_t>(range.begin);
    const auto last = lows.begin() + static_cast<std::ptrdiff_t>(range.end);
    const auto end =
        static_cast<std::size_t>(std::upper_bound(first, last, interval.low) - lows.begin());
    // Finds, among the intervals that begin low enough, those that end high enough. Skips blocks,
    // and blocks of blocks, that have none.
    std::size_t i = range.begin;
    while (i < end) {
        std::size_t skipped = 1;
        std::size_t block = i;
        for (const std::vector<std::uint64_t>& level : levels) {
            if (block % blockSize != 0 || level[block / blockSize] >= interval.high) {
                break;
            }
            block /= blockSize;
            skipped *= blockSize;
        }
        if (skipped == 1 && highs[i] >= interval.high) {
            found.push_back(positions[i]);
        }
        i += skipped;
    }
}

}  // namespace velmora::core::tessaryn
