// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/named_rule.h"

#include "command_error.h"
#include "terminal/message.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/subscription_rules.h"
#include "text/escaped_text.h"
#include "text/rule_excerpt.h"

#include <Poco/Ascii.h>
#include <Poco/String.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

bool IsNameCharacter(char c) {
    return Poco::Ascii::isAlphaNumeric(c) || c == '_' || c == '-' || c == '.';
}

// The length of the name before a colon; 0 if there is none.
std::size_t GetNameLength(const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::size_t end = std::min(colon, text.size());
    const std::string name = text.substr(0, end);
    const bool isName =
        colon != std::string::npos && std::all_of(name.begin(), name.end(), IsNameCharacter);
    return isName ? end : 0;
}

std::string ListEntries(const tsn::StreamType& type) {
    constexpr unsigned short maxListed = 20;
    const unsigned short count = type.GetNumEntries();
    std::string text = count == 0 ? "it has none" : "the entries are ";
    for (unsigned short i = 0; i < std::min(count, maxListed); ++i) {
        text += (i == 0 ? "" : ", ") + Quoted(type.GetEntry(i).key);
    }
    return text + (count > maxListed ? ", ..." : "");
}

}  // namespace

NamedRule ParseNamedRule(const std::string& text) {
    const std::string trimmed = Poco::trim(text);
    const std::size_t length = GetNameLength(trimmed);
    const std::string rule = length == 0 ? text : Poco::trim(trimmed.substr(length + 1));
    try {
        if (tsn::DescribeRule(rule).empty()) {
            throw CommandError("rule " + Quoted(text) + " is empty");
        }
        return {length == 0 ? text : trimmed.substr(0, length), rule, delivery::Rule(rule)};
    } catch (const tsn::RuleSyntaxException& error) {
        throw CommandError("rule " + Quoted(rule) + ": " + error.message(),
                           MarkInRule(rule, error.GetSpan(), error.GetHint()));
    }
}

std::deque<NamedRule> ParseRules(const std::vector<std::string>& texts, const std::string& file) {
    std::deque<NamedRule> rules;
    for (const std::string& text : texts) {
        rules.push_back(ParseNamedRule(text));
    }
    if (!file.empty()) {
        std::ifstream in(file);
        if (!in) {
            throw CommandError("cannot read " + Quoted(file) + ": " + std::strerror(errno));
        }
        std::size_t number = 0;
        for (std::string line; std::getline(in, line);) {
            ++number;
            const std::string text = Poco::trim(line);
            if (text.empty() || text.front() == '#') {
                continue;
            }
            try {
                rules.push_back(ParseNamedRule(text));
            } catch (const CommandError& error) {
                throw CommandError(file + ":" + std::to_string(number) + ": " + error.what(),
                                   error.GetDetails());
            }
        }
        if (rules.empty()) {
            throw CommandError(file + ": there is no rule; write one 'name: rule' a line");
        }
    }
    if (rules.empty()) {
        rules.push_back({"*", "", delivery::Rule(tsn::Always()), true});
    }
    return rules;
}

void CheckRules(const std::deque<NamedRule>& rules, const tsn::StreamType& type, bool allowUnknown,
                bool quiet) {
    for (const NamedRule& rule : rules) {
        if (rule.isEverySample) {
            continue;
        }
        for (const tsn::RuleFinding& finding : tsn::CheckRule(rule.text, type)) {
            const std::string sentence = "rule " + Quoted(rule.text) + ": " + finding.message;
            const std::string excerpt = MarkInRule(rule.text, finding.span, finding.hint);
            if (finding.kind == tsn::RuleFinding::missingEntry && !allowUnknown) {
                throw CommandError(
                    sentence + "; " + ListEntries(type) + "; --allow-unknown permits another",
                    excerpt);
            }
            if (!quiet || finding.CanThrow()) {
                PrintMessage("warning: ", sentence);
                std::fputs(excerpt.c_str(), stderr);
            }
        }
    }
}

std::vector<std::string> FindNumericEntries(const NamedRule& rule, const tsn::StreamType& type) {
    std::vector<std::string> names;
    if (rule.isEverySample) {
        return names;
    }
    // A type without entries lacks every entry that the rule names.
    for (const tsn::RuleFinding& finding : tsn::CheckRule(rule.text, tsn::StreamType())) {
        if (type.EntryExists(finding.name) &&
            type.GetEntry(type.EntryId(finding.name)).type != tsn::String &&
            std::find(names.begin(), names.end(), finding.name) == names.end()) {
            names.push_back(finding.name);
        }
    }
    return names;
}

}  // namespace velmora::tool
