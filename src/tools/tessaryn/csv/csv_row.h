// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// The fields of one row, in memory that the next row uses again.
class CsvRow {
  public:
    std::size_t Size() const { return ends.size(); }

    std::string_view operator[](std::size_t field) const {
        const std::size_t begin = field == 0 ? 0 : ends[field - 1];
        return std::string_view(text).substr(begin, ends[field] - begin);
    }

    /// Bytes that the row takes up, empty fields included.
    std::size_t Weight() const { return text.size() + ends.size(); }

    void Add(std::string_view field) {
        text += field;
        ends.push_back(static_cast<std::uint32_t>(text.size()));
    }

    void Clear(std::size_t newLine) {
        text.clear();
        ends.clear();
        line = newLine;
        fault = nullptr;
    }

    /// Number of the line on which the row begins, from 1.
    std::size_t line = 0;
    /// Why what follows the fields can't be read; null for a whole row.
    const char* fault = nullptr;

  private:
    std::string text;
    std::vector<std::uint32_t> ends;
};

}  // namespace velmora::tool
