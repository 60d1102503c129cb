// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/open_sources.h"

#include "command_error.h"
#include "commands/memory_option.h"
#include "csv/csv_reader.h"
#include "csv/csv_source.h"
#include "remote/nats_address.h"
#include "remote/nats_source.h"
#include "source/document_input.h"
#include "source/document_source.h"
#include "source/history_source.h"
#include "source/host_source.h"
#include "source/input_stream.h"
#include "source/json_lines_reader.h"
#include "storage/document.h"
#include "storage/document_file.h"
#include "tessaryn/stream_repository.h"
#include "text/escaped_text.h"

#include <Poco/File.h>
#include <Poco/Glob.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>
#include <sys/stat.h>

namespace velmora::tool {

namespace {

enum class Kind { csv, jsonLines, document };

Kind GetKind(const InputStream& input, std::string_view beginning) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    beginning.remove_prefix(beginning.starts_with(mark) ? mark.size() : 0);
    beginning.remove_prefix(std::min(beginning.find_first_not_of(" \t\r\n"), beginning.size()));
    if (beginning.starts_with('<')) {
        return Kind::document;
    }
    if (beginning.starts_with('[')) {
        throw CommandError(input.GetName() +
                           " looks like a JSON array, which is not read: make one line of each "
                           "element with jq -c '.[]'");
    }
    if (!beginning.starts_with('{')) {
        return Kind::csv;
    }
    beginning.remove_prefix(1);
    beginning.remove_prefix(std::min(beginning.find_first_not_of(" \t\r\n"), beginning.size()));
    return beginning.starts_with("\"Tree\"") ? Kind::document : Kind::jsonLines;
}

// The name of a stream: that of the file without folders and endings.
std::string GetDefaultName(const std::string& path, const std::vector<std::string>& paths) {
    if (path == "-") {
        return "stdin";
    }
    const auto withoutEndings = [](const std::string& file, bool keepFolder) {
        const std::size_t slash = file.rfind('/');
        const std::size_t base = slash == std::string::npos ? 0 : slash + 1;
        std::string name = file;
        for (const char* const packing : {".gz", ".zst"}) {
            if (name.ends_with(packing)) {
                name.resize(name.size() - std::strlen(packing));
            }
        }
        const std::size_t dot = name.rfind('.');
        if (dot != std::string::npos && dot > base) {
            name.resize(dot);
        }
        return keepFolder ? name : name.substr(base);
    };
    for (const bool keepFolder : {false, true}) {
        std::string name = withoutEndings(path, keepFolder);
        const auto uses = std::count_if(paths.begin(), paths.end(), [&](const std::string& other) {
            return withoutEndings(other, keepFolder) == name;
        });
        if (uses < 2) {
            return name;
        }
    }
    return path;
}

NamedSource MakeTable(std::unique_ptr<InputStream> input, Kind kind, const std::string& defaultName,
                      const SourceSettings& settings) {
    std::unique_ptr<RowReader> reader;
    if (kind == Kind::jsonLines) {
        reader = std::make_unique<JsonLinesReader>(*input);
    } else {
        reader = std::make_unique<CsvReader>(*input);
    }
    return {settings.streamName.empty() ? defaultName : settings.streamName,
            std::make_unique<CsvSource>(std::move(input), std::move(reader), settings.table)};
}

std::vector<NamedSource> OpenDocument(const std::string& path, InputStream& input,
                                      const SourceSettings& settings) {
    const auto document = std::make_shared<const core::tessaryn::Document>(
        path != "-" && storage::IsDocumentPath(path) ? LoadWithin(settings.maxMemory, path)
                                                     : ReadDocument(input, settings.maxMemory));
    std::vector<NamedSource> sources;
    document->streams->ForEachStream([&](const std::string& name, core::tessaryn::Stream& stream) {
        sources.push_back({settings.streamName.empty() ? name : settings.streamName,
                           std::make_unique<DocumentSource>(document, stream, path + ":" + name)});
    });
    return sources;
}

std::vector<NamedSource> OpenHistory(const std::string& path, const SourceSettings& settings) {
    const auto history = std::make_shared<const storage::History>(path);
    std::vector<NamedSource> sources;
    for (const storage::HistoryStream& stream : history->GetStreams()) {
        sources.push_back(
            {settings.streamName.empty() ? stream.path : settings.streamName,
             std::make_unique<HistorySource>(history, stream, path + ":" + stream.path)});
    }
    return sources;
}

}  // namespace

std::vector<std::string> ExpandSources(const std::vector<std::string>& arguments) {
    std::vector<std::string> paths;
    for (const std::string& argument : arguments) {
        const bool isFile = argument != "-" && argument != "host" && !IsNatsAddress(argument);
        struct stat status {};
        if (!isFile || stat(argument.c_str(), &status) == 0) {
            paths.push_back(argument);
            continue;
        }
        const int reason = errno;
        if (argument.find_first_of("*?[") == std::string::npos) {
            throw CommandError("cannot open " + Quoted(argument) + ": " + std::strerror(reason));
        }
        std::set<std::string> matches;
        Poco::Glob::glob(argument, matches);
        if (matches.empty()) {
            throw CommandError("no file matches " + Quoted(argument));
        }
        paths.insert(paths.end(), matches.begin(), matches.end());
    }
    return paths;
}

std::vector<NamedSource> OpenSources(const std::string& path, const std::vector<std::string>& paths,
                                     const SourceSettings& settings, SignalWatcher& signals) {
    std::vector<NamedSource> sources;
    const std::string& wanted = settings.streamName;
    if (path == "host") {
        const auto interval = settings.table.interval.value_or(std::chrono::seconds(1));
        sources.push_back(
            {wanted.empty() ? path : wanted, std::make_unique<HostSource>(interval, signals)});
        return sources;
    }
    if (IsNatsAddress(path)) {
        sources.push_back({wanted, OpenNatsSource(path, settings.nats, signals)});
        return sources;
    }
    if (path != "-" && IsDatabase(path)) {
        return OpenHistory(path, settings);
    }
    auto input =
        std::make_unique<InputStream>(std::make_unique<InputFile>(path, signals, settings.follow));
    const Kind kind = GetKind(*input, input->Peek());
    if (kind == Kind::document) {
        return OpenDocument(path, *input, settings);
    }
    sources.push_back(MakeTable(std::move(input), kind, GetDefaultName(path, paths), settings));
    return sources;
}

NamedSource OpenTable(std::unique_ptr<InputFile> file, const std::string& defaultName,
                      const SourceSettings& settings) {
    auto input = std::make_unique<InputStream>(std::move(file));
    const Kind kind = GetKind(*input, input->Peek());
    if (kind == Kind::document) {
        throw CommandError(input->GetName() + " gives a document, which is read from a file only");
    }
    return MakeTable(std::move(input), kind, defaultName, settings);
}

}  // namespace velmora::tool
