// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/check_command.h"

#include "command_error.h"
#include "remote/nats_address.h"
#include "source/open_sources.h"
#include "storage/document.h"
#include "terminal/signal_watcher.h"
#include "terminal/standard_output.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_repository.h"
#include "text/escaped_text.h"
#include "text/rule_excerpt.h"

#include <Poco/String.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr const char* details =
    R"(The tree has one line for each operator, name and literal, with its operands below it.

--type compares the rule with a type of a document that "tessaryn watch --save" wrote:
PATH is the path that "tessaryn show" prints; the newest version is used unless
@VERSION follows. A warning is printed for what can never match or cannot be evaluated,
with its place in the rule. --source does so with the entries of a recording, read as
"tessaryn watch" reads it; where it has several streams, a warning is printed if it is
true of each. Without both, entries are not checked.

Exit status: 0 without warnings, 1 with warnings, 2 when the text is not a rule or the
type cannot be read.)";

struct TypeAddress {
    std::string file;
    std::string path;
};

// Splits FILE:PATH behind the file's ending, since both may contain colons.
TypeAddress SplitAddress(const std::string& text) {
    for (std::size_t colon = text.find(':'); colon != std::string::npos;
         colon = text.find(':', colon + 1)) {
        const std::string file = Poco::toLower(text.substr(0, colon));
        if (file.ends_with(".xml") || file.ends_with(".json")) {
            return {text.substr(0, colon), text.substr(colon + 1)};
        }
    }
    throw CommandError("--type " + Quoted(text) +
                       " is not FILE:PATH with a FILE that ends in .xml or .json");
}

[[noreturn]] void FailForMissing(const TypeAddress& address) {
    throw CommandError(address.file + ": there is no type " + Quoted(address.path));
}

// The type of a path, or of PATH@VERSION.
const tsn::StreamType& FindType(const tsn::Document& document, const TypeAddress& address) {
    const tsn::StreamType* type = nullptr;
    const tsn::StreamTypeCollection* const collection = document.types->GetPtr(address.path);
    if (collection != nullptr) {
        type = collection->GetLatestPtr();
    } else if (const std::size_t at = address.path.rfind('@'); at != std::string::npos) {
        const auto* const versions = document.types->GetPtr(address.path.substr(0, at));
        try {
            const utils::Version version(address.path.substr(at + 1));
            type = versions == nullptr ? nullptr : versions->GetPtr(version);
        } catch (const std::invalid_argument& error) {
            throw CommandError("--type: " + std::string(error.what()));
        }
    }
    if (type == nullptr) {
        FailForMissing(address);
    }
    return *type;
}

// Whether a finding holds for every type.
bool IsOfEveryType(const tsn::RuleFinding& finding) {
    return finding.kind == tsn::RuleFinding::missingOperand ||
           finding.kind == tsn::RuleFinding::unknownProperty ||
           finding.kind == tsn::RuleFinding::unknownFunction;
}

// Whether the document has the type's initial sizes; a size that is missing is read as 1.
bool KeepsInitialSizes(const tsn::StreamType& type) {
    for (unsigned short entry = 0; entry < type.GetNumEntries(); ++entry) {
        if (type.GetEntry(entry).initialSize != 1) {
            return true;
        }
    }
    return false;
}

// The findings that all streams of a recording have in common.
std::vector<tsn::RuleFinding> CheckSource(const CheckOptions& options) {
    if (IsNatsAddress(options.source)) {
        throw CommandError("a rule is checked with a recording, not with a NATS server");
    }
    SignalWatcher signals;
    SourceSettings settings;
    settings.maxMemory = options.maxMemory;
    std::optional<std::vector<tsn::RuleFinding>> common;
    for (const NamedSource& each :
         OpenSources(options.source, {options.source}, settings, signals)) {
        tsn::StreamType type;
        if (!each.source->Open(type)) {
            throw CommandError("interrupted before " + options.source + " was read");
        }
        const std::vector<tsn::RuleFinding> found = tsn::CheckRule(options.rule, type);
        if (!common) {
            common = found;
        }
        std::erase_if(*common, [&](const tsn::RuleFinding& one) {
            return std::none_of(found.begin(), found.end(), [&](const tsn::RuleFinding& other) {
                return other.kind == one.kind && other.message == one.message;
            });
        });
    }
    if (!common) {
        throw CommandError(options.source + " has no stream");
    }
    return *std::move(common);
}

std::vector<tsn::RuleFinding> Check(const CheckOptions& options) {
    if (!options.source.empty()) {
        return CheckSource(options);
    }
    if (options.type.empty()) {
        // A malformed rule gets the hints that need no type.
        static_cast<void>(tsn::DescribeRule(options.rule));
        std::vector<tsn::RuleFinding> findings = tsn::CheckRule(options.rule, tsn::StreamType());
        std::erase_if(findings, std::not_fn(IsOfEveryType));
        return findings;
    }
    const TypeAddress address = SplitAddress(options.type);
    const tsn::Document document = LoadWithin(options.maxMemory, address.file);
    const tsn::StreamType& type = FindType(document, address);
    std::vector<tsn::RuleFinding> findings = tsn::CheckRule(options.rule, type);
    if (!KeepsInitialSizes(type)) {
        std::erase_if(findings, [](const tsn::RuleFinding& finding) {
            return finding.kind == tsn::RuleFinding::indexBeyondSize;
        });
    }
    return findings;
}

// Appends lines, each escaped.
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
        app.add_subcommand("check", "Print the tree of a rule and what can never match");
    check->add_option("RULE", options.rule, "Rule such as 'temperature > 8.0'")->required();
    check->add_option("--type", options.type, "Type of the samples")
        ->type_name("FILE:PATH[@VERSION]");
    check->add_option("--source", options.source, "Recording whose entries the rule is about")
        ->type_name("FILE")
        ->excludes("--type");
    AddMemoryOption(*check, options.maxMemory);
    check->footer(details);
    return check;
}

bool RunCheck(const CheckOptions& options) {
    std::string tree;
    std::vector<tsn::RuleFinding> findings;
    try {
        findings = Check(options);
        tree = tsn::DescribeRule(options.rule);
    } catch (const tsn::RuleSyntaxException& error) {
        throw CommandError("rule " + Quoted(options.rule) + ": " + error.message(),
                           MarkInRule(options.rule, error.GetSpan(), error.GetHint()));
    }
    if (tree.empty()) {
        throw CommandError("rule " + Quoted(options.rule) + " is empty");
    }
    StandardOutput output;
    AppendLines(output.GetBuffer(), tree);
    for (const tsn::RuleFinding& finding : findings) {
        AppendLines(output.GetBuffer(), "warning: " + finding.message);
        output.GetBuffer() += MarkInRule(options.rule, finding.span, finding.hint);
    }
    output.Flush();
    return !findings.empty();
}

}  // namespace velmora::tool
