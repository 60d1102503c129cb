// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/check_command.h"

#include "command_error.h"
#include "document/document.h"
#include "terminal/signal_watcher.h"
#include "terminal/standard_output.h"
#include "tessaryn/rule_check.h"
#include "text/escaped_text.h"

#include <Poco/Exception.h>
#include <Poco/String.h>

#include <stdexcept>
#include <vector>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr const char* details =
    R"(The tree has one line for each operator, name and literal, what belongs to it below it.

--type compares the rule with a type of a document that "tessaryn watch --save" wrote:
PATH is that of the type as "tessaryn show" has it, the newest version unless @VERSION
follows. Entries and functions that do not exist, and literals that do not convert to
their entries' types, are told: such a term never matches, without an error.

The program ends with 0 when nothing was found, with 1 when something was, and with 2
when the text is no rule, or the type can not be read.)";

struct TypeAddress {
    std::string file;
    std::string path;
};

// Splits FILE:PATH behind the file's ending; both may hold colons of their own.
TypeAddress SplitAddress(const std::string& text) {
    for (std::size_t colon = text.find(':'); colon != std::string::npos;
         colon = text.find(':', colon + 1)) {
        const std::string file = Poco::toLower(text.substr(0, colon));
        if (file.ends_with(".xml") || file.ends_with(".json")) {
            return {text.substr(0, colon), text.substr(colon + 1)};
        }
    }
    throw CommandError("--type " + Quoted(text) +
                       " is no FILE:PATH with a FILE that ends in .xml or .json");
}

[[noreturn]] void FailFinding(const TypeAddress& address) {
    throw CommandError(address.file + ": there is no type " + Quoted(address.path));
}

// The type of a path, or of PATH@VERSION.
const tsn::StreamType& FindType(const Document& document, const TypeAddress& address) {
    const tsn::StreamType* type = nullptr;
    const tsn::StreamTypeCollection* const whole = document.GetTypes().GetPtr(address.path);
    if (whole != nullptr) {
        type = whole->GetLatestPtr();
    } else if (const std::size_t at = address.path.rfind('@'); at != std::string::npos) {
        const auto* const versions = document.GetTypes().GetPtr(address.path.substr(0, at));
        try {
            const utils::Version version(address.path.substr(at + 1));
            type = versions == nullptr ? nullptr : versions->GetPtr(version);
        } catch (const std::invalid_argument& error) {
            throw CommandError("--type: " + std::string(error.what()));
        }
    }
    if (type == nullptr) {
        FailFinding(address);
    }
    return *type;
}

std::string Describe(const std::string& rule) {
    try {
        return tsn::DescribeRule(rule);
    } catch (const Poco::SyntaxException& error) {
        throw CommandError("rule " + Quoted(rule) + ": " + error.message());
    }
}

// Appends lines with escapes for what a terminal would act upon.
void AppendLines(std::string& out, const std::string& text) {
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        AppendEscaped(out, std::string_view(text).substr(begin, end - begin));
        out += '\n';
        begin = end + 1;
    }
}

}  // namespace

CLI::App* AddCheckCommand(CLI::App& app, CheckOptions& options) {
    CLI::App* const check =
        app.add_subcommand("check", "Parses a rule and tells what of it can never match");
    check->add_option("RULE", options.rule, "Rule such as 'temperature > 8.0'")->required();
    check->add_option("--type", options.type, "Type of the samples that the rule is meant for")
        ->type_name("FILE:PATH[@VERSION]");
    check->footer(details);
    return check;
}

bool RunCheck(const CheckOptions& options) {
    const std::string tree = Describe(options.rule);
    if (tree.empty()) {
        throw CommandError("rule " + Quoted(options.rule) + " is empty");
    }
    std::vector<tsn::RuleFinding> findings;
    if (!options.type.empty()) {
        const TypeAddress address = SplitAddress(options.type);
        const Document document(address.file);
        findings = tsn::CheckRule(options.rule, FindType(document, address));
    }
    SignalWatcher signals;
    StandardOutput output(signals);
    AppendLines(output.GetBuffer(), tree);
    for (const tsn::RuleFinding& finding : findings) {
        AppendLines(output.GetBuffer(), "warning: " + finding.message);
    }
    output.Flush();
    return findings.empty();
}

}  // namespace velmora::tool
