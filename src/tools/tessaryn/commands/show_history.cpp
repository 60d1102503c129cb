// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/show_history.h"

#include "command_error.h"
#include "document/document_printer.h"
#include "storage/history.h"
#include "terminal/message.h"
#include "terminal/standard_output.h"
#include "text/escaped_text.h"

#include <algorithm>
#include <string>

namespace velmora::tool {

namespace {

std::string Word(const std::string& text) {
    std::string word;
    AppendWord(word, text);
    return word;
}

std::string Json(const std::string& text) {
    std::string json;
    AppendJsonString(json, text);
    return json;
}

std::string JsonTime(const std::optional<Poco::Timestamp>& time) {
    return time ? '"' + FormatTime(*time) + '"' : "null";
}

// A stream's own lines, and those of each type that its samples have.
void AppendText(std::string& out, const storage::HistoryStream& stream) {
    out += "  " + Word(stream.path) + (stream.text.empty() ? "" : "  " + Word(stream.text)) + '\n';
    for (const storage::HistoryLayout& layout : stream.layouts) {
        out += "    type " + Word(layout.typeName) + " " + layout.version.ToString() + "  " +
               Counted(layout.rowCount, "sample") + "  table " + layout.table + '\n';
        if (layout.oldest) {
            out +=
                "      " + FormatTime(*layout.oldest) + " to " + FormatTime(*layout.newest) + '\n';
        }
        for (const storage::HistoryEntry& entry : layout.entries) {
            out += "      " + Word(entry.name) + "  " + ToString(entry.type);
            out += entry.unit.empty() ? "" : "  " + Word(entry.unit);
            out += entry.text.empty() ? "" : "  " + Word(entry.text);
            out += '\n';
        }
    }
}

void AppendJson(std::string& out, const storage::HistoryStream& stream) {
    for (const storage::HistoryLayout& layout : stream.layouts) {
        out += R"({"kind":"stream","path":)" + Json(stream.path);
        out += R"(,"type":)" + Json(layout.typeName);
        out += R"(,"version":")" + layout.version.ToString();
        out += R"(","samples":)" + std::to_string(layout.rowCount);
        out += R"(,"first":)" + JsonTime(layout.oldest) + R"(,"last":)" + JsonTime(layout.newest);
        out += R"(,"table":)" + Json(layout.table) + R"(,"entries":[)";
        const char* separator = "";
        for (const storage::HistoryEntry& entry : layout.entries) {
            out += separator;
            out += R"({"name":)" + Json(entry.name) + R"(,"type":")" + ToString(entry.type) + '"';
            out += entry.unit.empty() ? "" : R"(,"unit":)" + Json(entry.unit);
            out += '}';
            separator = ",";
        }
        out += "]}\n";
    }
}

}  // namespace

void ShowHistory(const std::string& file, const std::string& path, bool asJson) {
    const storage::History history(file);
    const std::string trimmed = path.substr(0, path.find_last_not_of('/') + 1);
    StandardOutput output;
    std::size_t count = 0;
    for (const storage::HistoryStream& stream : history.GetStreams()) {
        if (trimmed.empty() || stream.path == trimmed || stream.path.starts_with(trimmed + '/')) {
            if (asJson) {
                AppendJson(output.GetBuffer(), stream);
            } else {
                output.GetBuffer() += count == 0 ? "streams\n" : "";
                AppendText(output.GetBuffer(), stream);
            }
            ++count;
            output.Commit();
        }
    }
    if (count == 0 && !trimmed.empty()) {
        throw CommandError(file + ": there is no group or stream " + Quoted(path));
    }
    output.Flush();
}

}  // namespace velmora::tool
