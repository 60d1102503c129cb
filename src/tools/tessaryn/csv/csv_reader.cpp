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
        throw CommandError("the CSV parser can not be started");
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

bool CsvReader::HasMoreWithin(std::chrono::milliseconds moment) {
    return next < complete || !block.empty() || (!ended && input.HasMoreWithin(moment));
}

// Parses one more line, or what has arrived of it; false at the end.
bool CsvReader::Fill() {
    if (ended) {
        return false;
    }
    // The row that is being filled moves to the front; the others keep their memory.
    if (complete > 0) {
        std::swap(rows[0], rows[complete]);
    }
    next = complete = 0;
    if (block.empty()) {
        block = input.Read();
        ended = block.empty();
        PassByteOrderMark();
    }
    if (ended) {
        // A row that an early end of the run cut off is not a row.
        if (input.IsAtEnd()) {
            ParseEnd();
        }
        return complete > 0;
    }
    // Line by line, so that the number of the line is known inside the parser's callbacks.
    const std::size_t feed = block.find('\n');
    const bool whole = feed != std::string_view::npos;
    const std::string_view chunk = block.substr(0, whole ? feed + 1 : block.size());
    block.remove_prefix(chunk.size());
    if (!skipping) {
        Parse(chunk);
    }
    if (whole) {
        ++line;
        returned = false;
        skipping = false;
    }
    return true;
}

void CsvReader::PassByteOrderMark() {
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
        return Break(parser.quoted ? "the field goes on after its closing quote"
                                   : "a quote inside a field that is not quoted");
    }
    const std::size_t weight = open ? rows[complete].Weight() : 0;
    if (weight + parser.entry_pos > maxRowLength) {
        Break("the row is longer than 1 MiB; is a quote not closed?");
    }
}

void CsvReader::ParseEnd() {
    if (skipping) {
        return;
    }
    const bool closed = csv_fini(&parser, &OnField, &OnRowEnd, this) == 0;
    Rethrow();
    if (!closed) {
        Break("the quote is not closed");
    }
}

// Ends the current row as malformed and starts afresh after its line.
void CsvReader::Break(const char* fault) {
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
