// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::tool {

/// The fields of one row: owned texts, or parts of a line that it refers to. A row that replaces
/// another reuses its memory; a copy owns all its texts.
class CsvRow {
  public:
    CsvRow() = default;
    CsvRow(const CsvRow& other)
        : line(other.line),
          fault(other.fault),
          text(other.GetText()),
          fields(other.fields.data(), other.fields.data() + other.count),
          count(other.count) {}
    CsvRow& operator=(const CsvRow& other) {
        CsvRow copy(other);
        Swap(copy);
        return *this;
    }
    CsvRow(CsvRow&& other) noexcept { Swap(other); }
    CsvRow& operator=(CsvRow&& other) noexcept {
        Swap(other);
        return *this;
    }
    ~CsvRow() = default;

    std::size_t Size() const { return count; }

    std::string_view operator[](std::size_t field) const {
        const Field& place = fields[field];
        return {(borrowed == nullptr ? text.data() : borrowed) + place.begin, place.length};
    }

    /// Bytes of the fields and their separators.
    std::size_t GetLength() const { return GetText().size() + count; }

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

    /// Appends a copy of a text.
    void Add(std::string_view field) {
        AddField(
            {static_cast<std::uint32_t>(text.size()), static_cast<std::uint32_t>(field.size())});
        text += field;
    }

    /// Replaces the row by the fields of a line, each without blanks around it. They refer to the
    /// line: they are valid as long as it is.
    /// \return false when the line has quotes or carriage returns, which the fields then hold
    bool Split(std::string_view newText, char delimiter, std::size_t newLine);

    /// Replaces the row by fields that refer to parts of a text.
    void Refer(std::string_view newText, std::size_t newLine) {
        Clear(newLine);
        borrowed = newText.data();
        borrowedSize = newText.size();
    }
    /// Appends a field.
    /// \param field a part of the text given to `Refer`, or empty
    void AddPart(std::string_view field) {
        const auto begin = field.empty() ? 0 : field.data() - borrowed;
        AddField({static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(field.size())});
    }

    void Clear(std::size_t newLine) {
        text.clear();
        borrowed = nullptr;
        count = 0;
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

    // Where the next fields stand, with room for as many.
    Field* Reserve(std::size_t more) {
        if (count + more > fields.size()) {
            fields.resize(2 * (count + more));
        }
        return fields.data() + count;
    }
    void AddField(Field field) {
        *Reserve(1) = field;
        ++count;
    }

    std::string_view GetText() const {
        return borrowed == nullptr ? std::string_view(text)
                                   : std::string_view(borrowed, borrowedSize);
    }

    void Swap(CsvRow& other) noexcept {
        std::swap(line, other.line);
        std::swap(fault, other.fault);
        text.swap(other.text);
        std::swap(borrowed, other.borrowed);
        std::swap(borrowedSize, other.borrowedSize);
        fields.swap(other.fields);
        std::swap(count, other.count);
    }

    std::string text;
    /// The line that the fields refer to; null where they are in `text`.
    const char* borrowed = nullptr;
    std::size_t borrowedSize = 0;
    /// Those after the first `count` are left from other rows.
    std::vector<Field> fields;
    std::size_t count = 0;
};

}  // namespace velmora::tool
