// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/show_command.h"

#include "command_error.h"
#include "document/document.h"
#include "document/document_printer.h"
#include "terminal/signal_watcher.h"
#include "terminal/standard_output.h"
#include "text/escaped_text.h"

#include <algorithm>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr const char* details =
    R"(FILE is a document of types and streams as "tessaryn watch --save" writes it, .xml
or .json. PATH picks one group, type or stream; its names are separated as in the
document, by "/" unless another program wrote it.

A type has its versions with their hashes, the bytes in hexadecimal, and its entries.
A stream has its type, how many samples it holds and may hold, the first and the last
time and, for each element of a numeric entry, the least, the greatest and the last
value in the order of time. The line of blocks goes through up to 40 means of that
course, from the least to the greatest; where the locale is not UTF-8 it is "_.-~=+*#".

ndjson is one object a line: "kind" is "type group", "type", "stream group" or
"stream", and "path" tells where it stands; null stands for what is not there.)";

// The samples in the order of their times; those of one time in that of pushing.
std::vector<tsn::Sample*> InTimeOrder(const tsn::Stream& stream,
                                      const std::vector<tsn::Sample*>& samples) {
    std::vector<tsn::Sample*> ordered = InPushOrder(stream, samples);
    std::stable_sort(ordered.begin(), ordered.end(), [](auto* left, auto* right) {
        return left->GetTimeStamp() < right->GetTimeStamp();
    });
    return ordered;
}

void Print(DocumentPrinter& printer, const Place& place, const tsn::StreamTypeCollection& type) {
    printer.PrintType(place, type);
}

void Print(DocumentPrinter& printer, const Place& place, const tsn::Stream& stream) {
    stream.GetAll([&](const std::vector<tsn::Sample*>& samples) {
        printer.PrintStream(place, stream, InTimeOrder(stream, samples));
    });
}

// Prints what is in a group in the order of names, as hash maps have none that a reader knows.
template <class Group>
void PrintContents(DocumentPrinter& printer, const Group& group, const Place& place,
                   char separator) {
    const auto inside = [&](const std::string& name) {
        const bool atRoot = place.path.empty();
        return Place{atRoot ? name : place.path + separator + name, name,
                     atRoot ? place.depth : place.depth + 1};
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

// The path without separators at its end, which lead nowhere else.
std::string Trimmed(const std::string& path, char separator) {
    return path.substr(0, path.find_last_not_of(separator) + 1);
}

// Prints the item and the group of a path, or everything.
// \return whether there was anything of that path
template <class Group, class Item>
bool PrintTree(DocumentPrinter& printer, DocumentPrinter::Tree tree, const std::string& path,
               char separator, const Group* group, const Item* item) {
    if (group == nullptr && item == nullptr) {
        return false;
    }
    printer.Begin(tree);
    const Place place{path, path, 0};
    if (group != nullptr) {
        if (!path.empty()) {
            printer.PrintGroup(place, separator);
        }
        PrintContents(printer, *group, place, separator);
    }
    if (item != nullptr) {
        Print(printer, place, *item);
    }
    return true;
}

}  // namespace

CLI::App* AddShowCommand(CLI::App& app, ShowOptions& options) {
    CLI::App* const show = app.add_subcommand("show", "Prints the types and streams of a document");
    show->add_option("FILE", options.file, "Document, .xml or .json")->required();
    show->add_option("PATH", options.path, "Group, type or stream; everything unless given");
    show->add_option("--output", options.output, "Form of the lines: text or ndjson")
        ->check(CLI::IsMember({"text", "ndjson"}))
        ->type_name("FORM")
        ->capture_default_str();
    show->footer(details);
    return show;
}

void RunShow(const ShowOptions& options) {
    const Document document(options.file);
    SignalWatcher signals;
    StandardOutput output(signals);
    const auto printer =
        options.output == "ndjson" ? MakeJsonPrinter(output) : MakeTextPrinter(output);
    const tsn::StreamTypeRepository& types = document.GetTypes();
    const std::string typePath = Trimmed(options.path, document.GetTypeSeparator());
    const bool hasTypes =
        PrintTree(*printer, DocumentPrinter::Tree::types, typePath, document.GetTypeSeparator(),
                  types.GetGroupPtr(typePath), types.GetPtr(typePath));
    const tsn::StreamRepository& streams = document.GetStreams();
    const std::string streamPath = Trimmed(options.path, document.GetStreamSeparator());
    const bool hasStreams = PrintTree(
        *printer, DocumentPrinter::Tree::streams, streamPath, document.GetStreamSeparator(),
        streams.GetGroupPtr(streamPath), streams.GetStreamPtr(streamPath));
    if (!hasTypes && !hasStreams) {
        throw CommandError(options.file + ": there is no group, type or stream " +
                           Quoted(options.path));
    }
    output.Flush();
}

}  // namespace velmora::tool
