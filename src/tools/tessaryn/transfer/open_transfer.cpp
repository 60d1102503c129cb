// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/open_transfer.h"

#include "command_error.h"
#include "source/history_source.h"
#include "storage/document_file.h"
#include "text/escaped_text.h"
#include "transfer/document_reader.h"
#include "transfer/document_writer.h"
#include "transfer/history_reader.h"
#include "transfer/history_writer.h"
#include "transfer/source_reader.h"
#include "transfer/table_writer.h"

#include <Poco/String.h>

#include <string_view>
#include <utility>

namespace velmora::tool {

FileKind GetFileKind(const std::string& path) {
    constexpr std::pair<std::string_view, FileKind> kinds[] = {
        {".xml", FileKind::document}, {".json", FileKind::document},    {".db", FileKind::history},
        {".csv", FileKind::csv},      {".ndjson", FileKind::jsonLines},
    };
    const std::string lower = Poco::toLower(path);
    for (const auto& [ending, kind] : kinds) {
        if (lower.size() > ending.size() && lower.ends_with(ending)) {
            return kind;
        }
    }
    throw CommandError(Quoted(path) + " does not end in .xml, .json, .db, .csv or .ndjson");
}

std::unique_ptr<SampleReader> MakeReader(const std::string& path, const SourceSettings& settings,
                                         SignalWatcher& signals) {
    if (IsDatabase(path)) {
        return std::make_unique<HistoryFileReader>(path);
    }
    if (storage::IsDocumentPath(path)) {
        return std::make_unique<DocumentReader>(path, settings.maxMemory);
    }
    return std::make_unique<SourceReader>(path, settings, signals);
}

std::unique_ptr<SampleWriter> MakeWriter(const std::string& path,
                                         const std::vector<StreamLayout>& streams, char separator) {
    switch (GetFileKind(path)) {
        case FileKind::csv:
            return std::make_unique<TableWriter>(path, TableWriter::Form::csv, streams);
        case FileKind::jsonLines:
            return std::make_unique<TableWriter>(path, TableWriter::Form::jsonLines, streams);
        case FileKind::history:
            return std::make_unique<HistoryFileWriter>(path);
        case FileKind::document:
            break;
    }
    return std::make_unique<DocumentWriter>(path, streams, separator);
}

}  // namespace velmora::tool
