// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// The fields of one row; a row that replaces another reuses its memory.
class CsvRow {
  public:
    std::size_t Size() const { return fields.size(); }

    std::string_view operator[](std::size_t field) const {
        const Field& place = fields[field];
        return {text.data() + place.begin, place.length};
    }

    /// Bytes of the fields and their separators.
    std::size_t GetLength() const { return text.size() + fields.size(); }

    bool HasSameFields(const CsvRow& other) const {
        if (Size() != other.Size()) {
            return false;
        }
        std::size_t field = 0;
        while (field < Size() && (*this)[field] == other[field]) {
            ++field;
        }
        return field == Size();
    }

    void Add(std::string_view field) {
        fields.push_back(
            {static_cast<std::uint32_t>(text.size()), static_cast<std::uint32_t>(field.size())});
        text += field;
    }

    /// Replaces the row by the fields of a line without quotes, each without blanks around it.
    void Split(std::string_view newText, char delimiter, std::size_t newLine) {
        Clear(newLine);
        text = newText;
        const char* const begin = text.data();
        const char* const end = begin + text.size();
        for (const char* at = begin;; ++at) {
            const void* const found =
                std::memchr(at, delimiter, static_cast<std::size_t>(end - at));
            const char* const stop = found == nullptr ? end : static_cast<const char*>(found);
            AddTrimmed(begin, at, stop);
            if (found == nullptr) {
                return;
            }
            at = stop;
        }
    }

    void Clear(std::size_t newLine) {
        text.clear();
        fields.clear();
        line = newLine;
        fault = nullptr;
    }

    /// Number of the line on which the row begins, from 1.
    std::size_t line = 0;
    /// Why the row cannot be read beyond these fields; null for a well-formed row.
    const char* fault = nullptr;

  private:
    struct Field {
        std::uint32_t begin;
        std::uint32_t length;
    };

    void AddTrimmed(const char* begin, const char* from, const char* to) {
        while (from < to && (*from == ' ' || *from == '\t')) {
            ++from;
        }
        while (from < to && (to[-1] == ' ' || to[-1] == '\t')) {
            --to;
        }
        fields.push_back(
            {static_cast<std::uint32_t>(from - begin), static_cast<std::uint32_t>(to - from)});
    }

    std::string text;
    std::vector<Field> fields;
};

}  // namespace velmora::tool
