// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/show_command.h"

#include "command_error.h"
#include "commands/show_history.h"
#include "document/document_printer.h"
#include "source/history_source.h"
#include "storage/document.h"
#include "storage/document_file.h"
#include "terminal/standard_output.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"
#include "text/escaped_text.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr const char* details =
    R"(FILE is a document of types and streams as "tessaryn watch --save" writes it, .xml
or .json, or a history as "tessaryn record" writes it. PATH selects one group, type or
stream; the separator is that of the document, "/" unless another program wrote it.

Of a history, each stream is printed with its types, and the number and times of their
samples.

Of a document, printed are for a type its versions, each with its hash in hexadecimal
and its entries; for a stream its type, the number of samples and their maximum, the
first and the last time and, for each element of a numeric entry, the minimum, the
maximum and the last value in the order of time. A chart shows up to 40 means of the values over
time; where the locale is not UTF-8, with the characters "_.-~=+*#".

With --head, --tail or an option that selects samples, the samples are listed, a line each as
"tessaryn watch" prints them, those of a history in the order of time; PATH is the stream then.

The format ndjson has one object per line: "kind" is "type group", "type",
"stream group" or "stream", "path" is its position, and null is a missing value.)";

// Samples of one time stay in the order of their pushes.
std::vector<tsn::Sample*> SortByTime(std::vector<tsn::Sample*> samples) {
    std::stable_sort(samples.begin(), samples.end(), [](auto* left, auto* right) {
        return left->GetTimeStamp() < right->GetTimeStamp();
    });
    return samples;
}

void Print(DocumentPrinter& printer, const TreePosition& position,
           const tsn::StreamTypeCollection& type) {
    printer.PrintType(position, type);
}

void Print(DocumentPrinter& printer, const TreePosition& position, const tsn::Stream& stream) {
    stream.GetAllInPushOrder([&](const std::vector<tsn::Sample*>& samples) {
        printer.PrintStream(position, stream, SortByTime(samples));
    });
}

// Prints the content of a group, sorted by names.
template <class Group>
void PrintContents(DocumentPrinter& printer, const Group& group, const TreePosition& position,
                   char separator) {
    const auto inside = [&](const std::string& name) {
        const bool atRoot = position.path.empty();
        return TreePosition{atRoot ? name : position.path + separator + name, name,
                            atRoot ? position.depth : position.depth + 1};
    };
    std::vector<std::string> names = group.GetGroupNames();
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        printer.PrintGroup(inside(name), separator);
        PrintContents(printer, group.GetGroup(name), inside(name), separator);
    }
    names = group.GetItemNames();
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
        Print(printer, inside(name), group.GetItem(name));
    }
}

// The path without separators at its end.
std::string Trimmed(const std::string& path, char separator) {
    return path.substr(0, path.find_last_not_of(separator) + 1);
}

// Prints the item and the group of a path.
// \return whether there is either
template <class Group, class Item>
bool PrintTree(DocumentPrinter& printer, DocumentPrinter::Tree tree, const std::string& path,
               char separator, const Group* group, const Item* item) {
    if (group == nullptr && item == nullptr) {
        return false;
    }
    printer.Begin(tree);
    const TreePosition position{path, path, 0};
    if (group != nullptr) {
        if (!path.empty()) {
            printer.PrintGroup(position, separator);
        }
        PrintContents(printer, *group, position, separator);
    }
    if (item != nullptr) {
        Print(printer, position, *item);
    }
    return true;
}

// A file with another ending is reported for what it is: not readable, or neither form.
void CheckEnding(const std::string& path) {
    if (storage::IsDocumentPath(path)) {
        return;
    }
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::status(path, error))) {
        throw CommandError("cannot read " + path + ": " + error.message());
    }
    throw CommandError(Quoted(path) +
                       " is neither a history nor a document, which ends in .xml or .json");
}

}  // namespace

CLI::App* AddShowCommand(CLI::App& app, ShowOptions& options) {
    CLI::App* const show =
        app.add_subcommand("show", "Print the types and streams of a document or a history");
    show->add_option("FILE", options.file, "Document, .xml or .json, or history")->required();
    show->add_option("PATH", options.path, "Group, type or stream; everything unless given");
    show->add_option("--output", options.output, "Output format: text or ndjson")
        ->check(CLI::IsMember({"text", "ndjson"}))
        ->type_name("FORMAT")
        ->capture_default_str();
    AddListOptions(*show, options.list);
    AddMemoryOption(*show, options.maxMemory);
    show->footer(details);
    return show;
}

void RunShow(const ShowOptions& options) {
    if (options.list.IsAsked()) {
        ListOptions list = options.list;
        if (list.filter.stream.empty()) {
            list.filter.stream = options.path;
        }
        ListSamples(options.file, list, options.output == "ndjson", options.maxMemory);
        return;
    }
    if (IsDatabase(options.file)) {
        ShowHistory(options.file, options.path, options.output == "ndjson");
        return;
    }
    CheckEnding(options.file);
    const tsn::Document document = LoadWithin(options.maxMemory, options.file);
    StandardOutput output;
    const auto printer =
        options.output == "ndjson" ? MakeJsonPrinter(output) : MakeTextPrinter(output);
    const tsn::StreamTypeRepository& types = *document.types;
    const std::string typePath = Trimmed(options.path, types.groupSeparator());
    const bool hasTypes =
        PrintTree(*printer, DocumentPrinter::Tree::types, typePath, types.groupSeparator(),
                  types.GetGroupPtr(typePath), types.GetPtr(typePath));
    const tsn::StreamRepository& streams = *document.streams;
    const std::string streamPath = Trimmed(options.path, streams.groupSeparator());
    const bool hasStreams =
        PrintTree(*printer, DocumentPrinter::Tree::streams, streamPath, streams.groupSeparator(),
                  streams.GetGroupPtr(streamPath), streams.GetStreamPtr(streamPath));
    if (!hasTypes && !hasStreams) {
        throw CommandError(options.file + ": there is no group, type or stream " +
                           Quoted(options.path));
    }
    output.Flush();
}

}  // namespace velmora::tool
