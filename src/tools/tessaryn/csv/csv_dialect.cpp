// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_dialect.h"

#include "csv/csv_row.h"
#include "text/time_text.h"
#include "text/value_parser.h"

#include <algorithm>
#include <array>
#include <map>

namespace velmora::tool {

namespace {

bool IsComment(std::string_view line) {
    return line.starts_with('#');
}

bool IsBlank(std::string_view line) {
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

// Whether a line consists of titles: it has neither numbers nor times.
bool HasOnlyTitles(std::string_view line, char delimiter) {
    CsvRow row;
    row.Split(line, delimiter, 0);
    for (std::size_t i = 0; i < row.Size(); ++i) {
        if (GuessType(row[i]) != core::tessaryn::String || ParseIsoTime(row[i])) {
            return false;
        }
    }
    return true;
}

// Whether a line has more than a title, as those above a table that a spreadsheet wrote.
bool HasSeveralCells(std::string_view line, char delimiter) {
    CsvRow row;
    row.Split(line, delimiter, 0);
    int filled = 0;
    for (std::size_t i = 0; i < row.Size(); ++i) {
        filled += row[i].empty() ? 0 : 1;
    }
    return filled > 1;
}

struct Score {
    std::size_t lines = 0;
    std::size_t fields = 0;
};

// The number of fields that most of the lines have.
Score FindCommonCount(const std::vector<std::string_view>& lines, char delimiter) {
    std::map<std::size_t, std::size_t> counts;
    for (const std::string_view line : lines) {
        if (!IsComment(line) && !IsBlank(line)) {
            ++counts[CountFields(line, delimiter)];
        }
    }
    Score best;
    for (const auto& [fields, count] : counts) {
        if (fields > 1 && count >= best.lines) {
            best = {count, fields};
        }
    }
    return best;
}

}  // namespace

std::size_t CountFields(std::string_view line, char delimiter) {
    std::size_t fields = 1;
    bool isQuoted = false;
    for (const char c : line) {
        isQuoted ^= c == '"';
        fields += !isQuoted && c == delimiter ? 1U : 0U;
    }
    return fields;
}

CsvDialect InferDialect(const std::vector<std::string_view>& lines) {
    CsvDialect dialect;
    Score best;
    for (const char delimiter : std::array{',', ';', '\t', '|'}) {
        const Score score = FindCommonCount(lines, delimiter);
        if (score.lines > best.lines) {
            best = score;
            dialect.delimiter = delimiter;
        }
    }
    const auto isOfTable = [&](std::string_view line) {
        return !IsComment(line) && CountFields(line, dialect.delimiter) == best.fields &&
               HasSeveralCells(line, dialect.delimiter);
    };
    const auto isRow = [](std::string_view line) { return !IsComment(line) && !IsBlank(line); };
    const auto firstRow = std::find_if(lines.begin(), lines.end(), isRow);
    const auto first = std::find_if(lines.begin(), lines.end(), isOfTable);
    auto header = firstRow;
    if (best.lines > 1 && first != lines.end() && HasOnlyTitles(*first, dialect.delimiter)) {
        header = first;
    } else if (firstRow != lines.begin() && firstRow != lines.end() && IsComment(*(firstRow - 1)) &&
               !HasOnlyTitles(*firstRow, dialect.delimiter) &&
               CountFields(*(firstRow - 1), dialect.delimiter) == best.fields) {
        header = firstRow - 1;
        dialect.isHeaderComment = true;
    }
    dialect.linesBeforeHeader = static_cast<std::size_t>(header - lines.begin());
    return dialect;
}

}  // namespace velmora::tool
