// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/table_writer.h"

#include "command_error.h"
#include "terminal/message.h"
#include "text/escaped_text.h"
#include "text/time_text.h"
#include "text/value_parser.h"
#include "text/value_text.h"

#include <algorithm>
#include <cmath>
#include <ostream>
#include <set>
#include <utf8.h>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr std::size_t blockSize = 64UL * 1024;
constexpr unsigned short noEntry = tsn::StreamType::invalidEntryId;
constexpr const char* timeTitle = "time";
constexpr const char* streamTitle = "stream";

// Whether CSV needs quotes around a text; an empty cell would be a missing value.
bool NeedsQuotes(std::string_view text) {
    return text.empty() || text.front() == ' ' || text.back() == ' ' || text.front() == '#' ||
           text.find_first_of(",\"\r\n\t;|") != std::string_view::npos;
}

// Whether a value can be read back: CSV has infinities, but NaN is a missing value.
template <class T>
bool IsRead(T value, bool isJson) {
    if constexpr (std::is_floating_point_v<T>) {
        return isJson ? std::isfinite(value) : !std::isnan(value);
    } else {
        return true;
    }
}

}  // namespace

TableWriter::TableWriter(const std::string& path, Form form,
                         const std::vector<StreamLayout>& streams)
    : form(form), file(path), streams(streams) {
    std::set<std::string> paths;
    for (const StreamLayout& stream : streams) {
        paths.insert(stream.path);
        AddColumns(*stream.type);
    }
    hasStreamColumn = paths.size() > 1 || form == Form::jsonLines;
    if (form == Form::csv) {
        WriteHeader();
    }
}

void TableWriter::AddColumns(const tsn::StreamType& type) {
    Ids ids(columns.size(), noEntry);
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = type.GetEntry(id);
        const auto place = std::find_if(columns.begin(), columns.end(), [&](const Column& column) {
            return column.name == entry.key;
        });
        const auto index = static_cast<std::size_t>(place - columns.begin());
        if (place == columns.end()) {
            columns.push_back({entry.key, entry.type});
            ids.push_back(noEntry);
        }
        ids[index] = id;
    }
    idsOf.push_back(std::move(ids));
}

void TableWriter::WriteHeader() {
    for (const char* const title : {timeTitle, streamTitle}) {
        const bool isTaken = std::any_of(columns.begin(), columns.end(), [&](const Column& column) {
            return column.name == title;
        });
        if (isTaken && (title == timeTitle || hasStreamColumn)) {
            throw CommandError("CSV has a column " + Quoted(title) +
                               " of its own, and cannot have an entry of that name; --columns "
                               "leaves it out");
        }
    }
    out += timeTitle;
    if (hasStreamColumn) {
        out += ',';
        out += streamTitle;
    }
    for (const Column& column : columns) {
        out += ',';
        AppendCsvText(column.name);
    }
    out += '\n';
}

void TableWriter::AppendStamp(const tsn::Sample& sample) {
    const std::int64_t time = sample.GetTimeStamp().epochMicroseconds();
    if (time < minTime || time > maxTime) {
        throw CommandError("the time " + std::to_string(time) +
                           " us is not of the years 1 to 9999, which a table can have");
    }
    AppendTime(out, time);
}

void TableWriter::Write(const std::string& path, const tsn::Sample& sample) {
    Ids& ids = idsOf[layouts.Find(path, *sample.GetStreamType())];
    ids.resize(columns.size(), noEntry);
    if (form == Form::csv) {
        AppendStamp(sample);
        if (hasStreamColumn) {
            out += ',';
            AppendCsvText(path);
        }
        AppendCells(sample, ids);
        out += '\n';
    } else {
        out += R"({"time":")";
        AppendStamp(sample);
        out += R"(","stream":)";
        AppendJsonString(out, path);
        out += R"(,"entries":{)";
        AppendCells(sample, ids);
        out += "}}\n";
    }
    if (out.size() >= blockSize) {
        file.GetStream() << out;
        out.clear();
    }
}

void TableWriter::AppendCells(const tsn::Sample& sample, const Ids& ids) {
    const char* separator = form == Form::csv ? "," : "";
    for (std::size_t i = 0; i < columns.size(); ++i) {
        Column& column = columns[i];
        if (form == Form::jsonLines) {
            if (ids[i] == noEntry) {
                continue;
            }
            out += separator;
            AppendJsonString(out, column.name);
            out += ':';
            separator = ",";
        } else {
            out += separator;
        }
        if (ids[i] == noEntry) {
            continue;
        }
        if (sample.GetStreamType()->GetType(ids[i]) != tsn::String) {
            AppendElements(sample, ids[i], column);
            continue;
        }
        const std::string text = sample.GetString(ids[i]);
        NoteCell(column, text, 1);
        if (form == Form::csv) {
            AppendCsvText(text);
        } else {
            notUtf8 += utf8::is_valid(text.begin(), text.end()) ? 0U : 1U;
            AppendJsonString(out, text);
        }
    }
}

void TableWriter::AppendElements(const tsn::Sample& sample, unsigned short id, Column& column) {
    const unsigned int size = sample.GetSize(id);
    const bool isJson = form == Form::jsonLines;
    if (size == 0) {
        out += isJson ? "null" : "";
        return;
    }
    if (isJson && size > 1) {
        out += '[';
    }
    const tsn::BaseType type = sample.GetStreamType()->GetType(id);
    for (unsigned int i = 0; i < size; ++i) {
        cell.clear();
        VisitGetter(type, [&](auto getter) {
            const auto value = (sample.*getter)(id, i);
            AppendValue(cell, value, isJson ? ValueForm::json : ValueForm::text);
            notRead += IsRead(value, isJson) ? 0U : 1U;
        });
        NoteCell(column, cell, size);
        out += i == 0 ? "" : (isJson ? "," : ";");
        out += cell;
    }
    if (isJson && size > 1) {
        out += ']';
    }
}

void TableWriter::AppendCsvText(const std::string& text) {
    if (!NeedsQuotes(text)) {
        out += text;
        return;
    }
    out += '"';
    for (const char c : text) {
        out.append(c == '"' ? 2 : 1, c);
    }
    out += '"';
}

// The type that a reader infers: text if the first value is not a number, else integers or
// decimals.
void TableWriter::NoteCell(Column& column, std::string_view text, unsigned int size) const {
    column.minSize = std::min(column.minSize, size);
    column.maxSize = std::max(column.maxSize, size);
    if (text.empty() || column.guess == tsn::String || column.guess == tsn::Bool) {
        return;
    }
    const bool isBool = form == Form::jsonLines && (text == "true" || text == "false");
    const tsn::BaseType guess = isBool ? tsn::Bool : GuessType(text);
    if (column.guess == tsn::UnknownType || guess == tsn::Double) {
        column.guess = guess;
    }
}

void TableWriter::Finish() {
    file.GetStream() << out;
    file.Commit();
}

std::vector<std::string> TableWriter::GetLosses() const {
    std::vector<std::string> losses;
    const std::string name = form == Form::csv ? "CSV" : "JSON lines";
    std::string types;
    for (const Column& column : columns) {
        const bool isArray = column.maxSize > 1 && column.type != tsn::String;
        const tsn::BaseType guess = column.guess == tsn::UnknownType ? tsn::String : column.guess;
        if (guess == column.type && !isArray) {
            continue;
        }
        const unsigned int count = column.minSize == column.maxSize ? column.maxSize : 0;
        types += " --type " + column.name + ":" + ToString(column.type);
        types += isArray ? ":" + std::to_string(count) : "";
    }
    if (!types.empty()) {
        losses.push_back(name + " has no value types; to read the same ones back, use" + types);
    }
    if (notRead > 0) {
        losses.push_back(name + " has no " + (form == Form::csv ? "NaN" : "NaN and no infinities") +
                         ": " + Counted(notRead, "value") + " will be missing");
    }
    if (notUtf8 > 0) {
        losses.push_back(name + " has U+FFFD for bytes that are not UTF-8, in " +
                         Counted(notUtf8, "text"));
    }
    return losses;
}

}  // namespace velmora::tool
