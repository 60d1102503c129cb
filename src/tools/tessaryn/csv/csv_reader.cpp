// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_reader.h"

#include "command_error.h"
#include "csv/csv_dialect.h"

#include <algorithm>
#include <string>
#include <utility>

namespace velmora::tool {

namespace {

constexpr const char* tooLong = "the row is longer than 1 MiB; is a quote not closed?";

}  // namespace

CsvReader::CsvReader(InputStream& input) : lines(input), rows(1) {
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
    csv_set_delim(&parser, static_cast<unsigned char>(delimiter));
}

const CsvRow* CsvReader::Next() {
    if (!hasHeader && !ReadHeader()) {
        return nullptr;
    }
    const CsvRow* row = NextRow();
    // Joined files, and the successor of a rotated file, repeat the header.
    while (row != nullptr && (IsComment(*row) || row->HasSameFields(header))) {
        row = NextRow();
    }
    return row;
}

// A row that begins with "#" is a comment unless it has a value for each column.
bool CsvReader::IsComment(const CsvRow& row) const {
    return row.Size() != header.Size() && row.Size() > 0 && row[0].starts_with('#');
}

bool CsvReader::ReadHeader() {
    // Of a live source, the header is inferred when the first row has arrived.
    const CsvDialect dialect = InferDialect(lines.Peek(2));
    delimiter = dialect.delimiter;
    csv_set_delim(&parser, static_cast<unsigned char>(delimiter));
    for (std::size_t i = 0; i < dialect.linesBeforeHeader; ++i) {
        lines.Next();
    }
    const CsvRow* row = NextRow();
    while (row != nullptr && !dialect.isHeaderComment && row->Size() == 1 &&
           (*row)[0].starts_with('#')) {
        row = NextRow();
    }
    if (row == nullptr) {
        if (lines.IsAtEnd()) {
            throw CommandError(lines.GetName() + ": the input is empty, expected a header");
        }
        return false;
    }
    hasHeader = true;
    header = *row;
    if (dialect.isHeaderComment) {
        const std::string_view first = (*row)[0];
        header.Clear(row->line);
        header.Add(first.substr(std::min(first.find_first_not_of("# \t"), first.size())));
        for (std::size_t i = 1; i < row->Size(); ++i) {
            header.Add((*row)[i]);
        }
    }
    return true;
}

const CsvRow* CsvReader::NextRow() {
    while (next == complete) {
        if (!Fill()) {
            return nullptr;
        }
    }
    return &rows[next++];
}

bool CsvReader::HasMoreWithin(std::chrono::milliseconds time) {
    return next < complete || (!ended && lines.HasMoreWithin(time));
}

// Parses one more line; returns false at the end.
bool CsvReader::Fill() {
    if (ended) {
        return false;
    }
    // The incomplete row moves to the front; all rows keep their memory.
    if (complete > 0 && open) {
        std::swap(rows[0], rows[complete]);
    }
    next = complete = 0;
    const LineReader::Line* const line = lines.Next();
    ended = line == nullptr;
    if (!ended) {
        if (!IsRowOpen()) {
            rowLine = line->number + returns;
        }
        if (line->isTooLong) {
            if (ParseQuoted(line->text)) {
                EndMalformedRow(tooLong);
            }
        } else {
            ParseLine(line->text, line->isEnded);
        }
    } else if (lines.IsAtEnd()) {
        // Only at the end of the input: a row that an early end of the run cuts off is dropped.
        ParseEnd();
    }
    return !ended || complete > 0;
}

void CsvReader::ParseLine(std::string_view text, bool isEnded) {
    std::string_view content = text;
    if (isEnded && content.ends_with('\r')) {
        content.remove_suffix(1);
    }
    if (!IsRowOpen()) {
        if (content.empty() ||
            ((content.front() == ' ' || content.front() == '\t') && HasOnlyBlanks(content))) {
            return;
        }
        if (rows[complete].Split(content, delimiter, rowLine)) {
            FinishRow();
            return;
        }
    }
    if (ParseQuoted(text) && isEnded) {
        ParseQuoted("\n");
    }
    returned = false;
}

// Whether a line of blanks has no separator, which may be one of them.
bool CsvReader::HasOnlyBlanks(std::string_view line) const {
    return line.find_first_not_of(" \t") == std::string_view::npos &&
           line.find(delimiter) == std::string_view::npos;
}

bool CsvReader::IsRowOpen() const {
    return open || parser.quoted != 0 || parser.entry_pos > 0;
}

// Returns false if the text is malformed.
bool CsvReader::ParseQuoted(std::string_view text) {
    const std::size_t parsed =
        csv_parse(&parser, text.data(), text.size(), &OnField, &OnRowEnd, this);
    Rethrow();
    if (parsed != text.size()) {
        if (csv_error(&parser) != CSV_EPARSE) {
            throw CommandError("out of memory");
        }
        EndMalformedRow(parser.quoted != 0 ? "text after the closing quote of a field"
                                           : "a quote inside a field without quotes");
        return false;
    }
    const std::size_t length = open ? rows[complete].GetLength() : 0;
    if (length + parser.entry_pos > LineReader::maxLength) {
        EndMalformedRow(tooLong);
        return false;
    }
    return true;
}

void CsvReader::ParseEnd() {
    const bool closed = csv_fini(&parser, &OnField, &OnRowEnd, this) == 0;
    Rethrow();
    if (!closed) {
        EndMalformedRow("the quote is not closed");
    }
}

// Ends the current row as malformed and restarts the parser.
void CsvReader::EndMalformedRow(const char* fault) {
    OpenRow().fault = fault;
    FinishRow();
    csv_free(&parser);
    StartParser();
}

CsvRow& CsvReader::OpenRow() {
    CsvRow& row = rows[complete];
    if (!open) {
        row.Clear(rowLine);
    }
    open = true;
    return row;
}

void CsvReader::AddRow() {
    rows.emplace_back();
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
            ++self.rowLine;
            ++self.returns;
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
