// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// What stands between the values of lines of JSON that a parser has read, of a few of them. A line
/// that differs from one of these in its values only needs no parser.
class JsonLineForms {
  public:
    /// A text without its quotes, a number, true or false, or an empty text for null.
    struct Cell {
        std::size_t column = 0;
        std::string_view text{};
    };

    /// Takes the form of a line in place of the oldest one; that of a line with arrays is not kept.
    /// \param line an object in JSON
    /// \param columns of the line's values, in their order
    void Learn(std::string_view line, const std::vector<std::size_t>& columns);

    /// Reads a line of one of the forms.
    /// \return \ownership lends: the cells, parts of the line, until the next call; null when the
    /// line has another form, or values that take a parser: texts with escapes or with bytes beyond
    /// ASCII, numbers with an exponent, and long ones
    const std::vector<Cell>* Read(std::string_view line);

    /// Whether reading lines has succeeded so often that it is worth to try the next one, and to
    /// learn its form where that is another. Now and then it is tried anyway.
    bool IsPromising();

  private:
    /// Reading failed that often in a row, or has been left out so often since.
    static constexpr int maxFailures = 8;
    static constexpr int maxLeftOut = 100;

    struct Form {
        /// What stands before the first value, before each other one, and after the last; empty
        /// where there is no form.
        std::vector<std::string> literals;
        std::vector<Cell> cells;

        bool Read(std::string_view line);
    };

    std::array<Form, 4> forms;
    /// The form of the line read last.
    std::size_t latest = 0;
    std::size_t oldest = 0;
    int failures = 0;
    int leftOut = 0;
};

}  // namespace velmora::tool
