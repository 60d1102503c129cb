// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// The fields of one row; a row that replaces another reuses its memory.
class CsvRow {
  public:
    std::size_t Size() const { return ends.size(); }

    std::string_view operator[](std::size_t field) const {
        const std::size_t begin = field == 0 ? 0 : ends[field - 1];
        return std::string_view(text).substr(begin, ends[field] - begin);
    }

    /// Bytes of the fields and their separators.
    std::size_t GetLength() const { return text.size() + ends.size(); }

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
    /// Why the row cannot be read beyond these fields; null for a well-formed row.
    const char* fault = nullptr;

  private:
    std::string text;
    std::vector<std::uint32_t> ends;
};

}  // namespace velmora::tool
