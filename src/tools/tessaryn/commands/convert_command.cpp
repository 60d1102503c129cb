// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/convert_command.h"

#include "command_error.h"
#include "storage/document_file.h"
#include "text/escaped_text.h"

namespace velmora::tool {

namespace {

constexpr const char* details =
    R"(The endings, .xml or .json, determine the formats. The conversion keeps all nodes: a
document converted to the other format and back is the same, byte for byte. TO is
replaced atomically; on failure it is unchanged.)";

}  // namespace

CLI::App* AddConvertCommand(CLI::App& app, ConvertOptions& options) {
    CLI::App* const convert =
        app.add_subcommand("convert", "Convert a document between XML and JSON");
    convert->add_option("FROM", options.from, "Document to read, .xml or .json")->required();
    convert->add_option("TO", options.to, "Document to write, .xml or .json")->required();
    AddMemoryOption(*convert, options.maxMemory);
    convert->footer(details);
    return convert;
}

void RunConvert(const ConvertOptions& options) {
    if (!storage::IsDocumentPath(options.to)) {
        throw CommandError(Quoted(options.to) + " does not end in .xml or .json");
    }
    core::serialization::ReadLimits limits;
    limits.maxMemory = options.maxMemory;
    storage::SaveTree(options.to, storage::LoadTree(options.from, limits));
}

}  // namespace velmora::tool
