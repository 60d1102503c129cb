// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/convert_command.h"

#include "document/document_file.h"

namespace velmora::tool {

namespace {

constexpr const char* details =
    R"(The endings, .xml or .json, tell the forms. The whole tree of nodes is kept as it is, so
a document that went to the other form and back is the same, byte for byte. TO is
replaced in one step, once the new document is complete; on failure it stays as it was.)";

}  // namespace

CLI::App* AddConvertCommand(CLI::App& app, ConvertOptions& options) {
    CLI::App* const convert =
        app.add_subcommand("convert", "Writes a document in the other form, or the same one");
    convert->add_option("FROM", options.from, "Document to read, .xml or .json")->required();
    convert->add_option("TO", options.to, "Document to write, .xml or .json")->required();
    convert->footer(details);
    return convert;
}

void RunConvert(const ConvertOptions& options) {
    CheckEnding(options.to);
    WriteTree(ReadTree(options.from), options.to);
}

}  // namespace velmora::tool
