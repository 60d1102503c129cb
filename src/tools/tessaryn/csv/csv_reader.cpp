// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_reader.h"

#include "command_error.h"

#include <cstring>
#include <utility>

namespace velmora::tool {

namespace {

constexpr std::size_t maxRowLength = 1024UL * 1024;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

}  // namespace

CsvReader::CsvReader(InputFile& input) : input(input), rows(1) {
    StartParser();
}

CsvReader::~CsvReader() {
    csv_free(&parser);
}

void CsvReader::StartParser() {
    if (csv_init(&parser, CSV_STRICT | CSV_STRICT_FINI) != 0) {
        throw CommandError("cannot start the CSV parser");
    }
    csv_set_blk_size(&parser, 4096);
}

const CsvRow* CsvReader::Next() {
    while (next == complete) {
        if (!Fill()) {
            return nullptr;
        }
    }
    return &rows[next++];
}

bool CsvReader::HasMoreWithin(std::chrono::milliseconds time) {
    return next < complete || !block.empty() || (!ended && input.HasMoreWithin(time));
}

// Parses one more line, or as much of it as has arrived; false at the end.
bool CsvReader::Fill() {
    if (ended) {
        return false;
    }
    // The incomplete row moves to the front; all rows keep their memory.
    if (complete > 0) {
        std::swap(rows[0], rows[complete]);
    }
    next = complete = 0;
    if (block.empty()) {
        block = input.Read();
        ended = block.empty();
        SkipByteOrderMark();
    }
    if (ended) {
        // The rest of a row that an early end of the run cuts off is unknown.
        if (input.IsAtEnd()) {
            ParseEnd();
        }
        return complete > 0;
    }
    // Line by line, so that the parser's callbacks know the line number.
    const std::size_t feed = block.find('\n');
    const bool isCompleteLine = feed != std::string_view::npos;
    const std::string_view chunk = block.substr(0, isCompleteLine ? feed + 1 : block.size());
    block.remove_prefix(chunk.size());
    if (!skipping) {
        Parse(chunk);
    }
    if (isCompleteLine) {
        ++line;
        returned = false;
        skipping = false;
    }
    return true;
}

void CsvReader::SkipByteOrderMark() {
    while (markBytes < byteOrderMark.size() && !block.empty()) {
        if (block.front() != byteOrderMark[markBytes++]) {
            markBytes = byteOrderMark.size();
            return;
        }
        block.remove_prefix(1);
    }
}

void CsvReader::Parse(std::string_view chunk) {
    const bool rowBegun = open || parser.quoted != 0 || parser.entry_pos > 0;
    if (!rowBegun) {
        rowLine = line;
    }
    const std::size_t parsed =
        csv_parse(&parser, chunk.data(), chunk.size(), &OnField, &OnRowEnd, this);
    Rethrow();
    if (parsed != chunk.size()) {
        if (csv_error(&parser) != CSV_EPARSE) {
            throw CommandError("out of memory");
        }
        return EndMalformedRow(parser.quoted ? "text after the closing quote of a field"
                                             : "a quote inside a field without quotes");
    }
    const std::size_t length = open ? rows[complete].GetLength() : 0;
    if (length + parser.entry_pos > maxRowLength) {
        EndMalformedRow("the row is longer than 1 MiB; is a quote not closed?");
    }
}

void CsvReader::ParseEnd() {
    if (skipping) {
        return;
    }
    const bool closed = csv_fini(&parser, &OnField, &OnRowEnd, this) == 0;
    Rethrow();
    if (!closed) {
        EndMalformedRow("the quote is not closed");
    }
}

// Ends the current row as malformed and restarts the parser after its line.
void CsvReader::EndMalformedRow(const char* fault) {
    OpenRow().fault = fault;
    FinishRow();
    csv_free(&parser);
    StartParser();
    skipping = true;
}

CsvRow& CsvReader::OpenRow() {
    CsvRow& row = rows[complete];
    if (!open) {
        row.Clear(rowLine);
    }
    open = true;
    return row;
}

void CsvReader::FinishRow() {
    open = false;
    ++complete;
    if (complete == rows.size()) {
        rows.emplace_back();
    }
}

void CsvReader::Rethrow() {
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void CsvReader::OnField(void* field, std::size_t length, void* reader) noexcept {
    auto& self = *static_cast<CsvReader*>(reader);
    try {
        if (self.returned) {
            self.rowLine = ++self.line;
        }
        self.returned = false;
        self.OpenRow().Add({static_cast<const char*>(field), length});
    } catch (...) {
        self.failure = std::current_exception();
    }
}

void CsvReader::OnRowEnd(int terminator, void* reader) noexcept {
    auto& self = *static_cast<CsvReader*>(reader);
    try {
        self.returned = terminator == '\r';
        self.FinishRow();
    } catch (...) {
        self.failure = std::current_exception();
    }
}

}  // namespace velmora::tool
