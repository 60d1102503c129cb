// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/config_text.h"

#include "text/escaped_text.h"

#include <CLI/CLI.hpp>
#include <Poco/Ascii.h>
#include <Poco/String.h>

#include <sstream>
#include <string_view>
#include <utility>

namespace velmora::tool {

namespace {

// A statement: one line, or several if it has a list that spans them.
struct Statement {
    std::size_t line = 0;
    /// Without comments and, in a list, without blanks outside of quotes.
    std::string text;
    /// The position of the first "=" outside of quotes.
    std::size_t equals = std::string::npos;
};

// Joins the lines of a statement and removes comments, since the parser of values handles neither
// lists over several lines nor "#" in quotes.
class StatementReader {
  public:
    StatementReader(std::istream& in, ConfigMistakes& mistakes) : in(in), mistakes(mistakes) {}

    // Returns false at the end of the file.
    bool Next(Statement& statement) {
        statement = {};
        depth = 0;
        last = '\0';
        while (ReadLine()) {
            if (depth > 0 && LooksLikeStatement()) {
                isRead = true;
                mistakes.Add(statement.line, "the list is not closed");
                return Next(statement);
            }
            if (statement.text.empty()) {
                statement.line = number;
            }
            if (!Append(statement)) {
                return Next(statement);
            }
            if (depth == 0 && !statement.text.empty()) {
                return true;
            }
        }
        if (depth > 0) {
            mistakes.Add(statement.line, "the list is not closed");
        }
        return false;
    }

  private:
    bool ReadLine() {
        if (std::exchange(isRead, false)) {
            return true;
        }
        ++number;
        return static_cast<bool>(std::getline(in, line));
    }

    // Whether a line within a list looks like the next statement, so that the list was never
    // closed.
    bool LooksLikeStatement() const {
        const std::string text = Poco::trim(line);
        if (text.empty() || text.front() == '"' || text.front() == '\'' || text.front() == '#') {
            return false;
        }
        return text.front() == '[' || text.find('=') != std::string::npos;
    }

    // Reports a malformed line and returns false.
    bool Append(Statement& statement) {
        char quote = '\0';
        char before = '\0';
        for (const char c : line) {
            const bool isQuote = c == '"' || c == '\'';
            if (quote == '\0' && c == '#') {
                break;
            }
            if (const char* const fault =
                    isQuote || quote == '\0' ? FindFault(c, before, quote) : nullptr) {
                mistakes.Add(number, fault);
                return false;
            }
            before = c;
            if (quote != '\0') {
                quote = c == quote ? '\0' : quote;
                last = '"';
            } else if (isQuote) {
                quote = c;
            } else if (!AppendOutside(statement, c)) {
                continue;
            }
            statement.text += c;
        }
        if (quote != '\0') {
            mistakes.Add(number, "the quote is not closed");
            return false;
        }
        if (depth == 0) {
            Poco::trimRightInPlace(statement.text);
        }
        return true;
    }

    // The mistake in a quoted text, or in a character outside of quotes; null if there is none.
    const char* FindFault(char c, char before, char quote) const {
        if (c != '"' && c != '\'') {
            const bool mayFollow = last != '"' || c == ',' || c == ']' || c == '=';
            return mayFollow || Poco::Ascii::isSpace(c) ? nullptr
                                                        : "there is text behind a closing quote";
        }
        if (before == '\\') {
            return "a backslash before a quote is not read; put single quotes around a text with "
                   "double quotes";
        }
        if (quote == '\0' && std::string_view("\0=[,", 4).find(last) == std::string_view::npos) {
            return "there is a quote inside a value; put quotes around all of it";
        }
        return nullptr;
    }

    // Whether a character outside of quotes belongs to the text.
    bool AppendOutside(Statement& statement, char c) {
        const bool isValue = statement.equals != std::string::npos;
        if (c == '=' && !isValue) {
            statement.equals = statement.text.size();
        } else if (c == '[' && isValue) {
            ++depth;
        } else if (c == ']' && depth > 0) {
            --depth;
        }
        const bool isBlank = Poco::Ascii::isSpace(c);
        last = isBlank ? last : c;
        return !isBlank || (!statement.text.empty() && depth == 0);
    }

    std::istream& in;
    ConfigMistakes& mistakes;
    std::string line;
    std::size_t number = 0;
    bool isRead = false;
    int depth = 0;
    /// The statement's last non-blank character; a double quote stands for any quoted text.
    char last = '\0';
};

bool IsName(const std::string& text) {
    return !text.empty() && text.find_first_not_of(
                                "abcdefghijklmnopqrstuvwxyz"
                                "ABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                "0123456789_-") == std::string::npos;
}

// "[kind]" or "[kind.name]".
bool ReadHeader(const Statement& statement, ConfigSection& section, ConfigMistakes& mistakes) {
    const std::string inner =
        Poco::trim(statement.text.substr(1, std::max<std::size_t>(statement.text.size(), 2) - 2));
    const std::size_t dot = inner.find('.');
    section.line = statement.line;
    section.kind = inner.substr(0, dot);
    section.name = dot == std::string::npos ? "" : inner.substr(dot + 1);
    const bool isNamed = dot == std::string::npos || IsName(section.name);
    if (!statement.text.ends_with(']') || !IsName(section.kind) || !isNamed) {
        mistakes.Add(statement.line, Quoted(statement.text) +
                                         " is not a section such as [page] or [rule.warm], whose "
                                         "name has letters, digits, \"_\" and \"-\"");
        return false;
    }
    return true;
}

// The value of a statement, as the parser of the command line's configuration splits it.
std::vector<std::string> SplitValue(const std::string& text) {
    CLI::ConfigTOML parser;
    // Comments were removed before; a "#" that is left is in quotes.
    parser.comment('\x01');
    std::istringstream line("value=" + text);
    const std::vector<CLI::ConfigItem> items = parser.from_config(line);
    return items.empty() ? std::vector<std::string>{} : items.front().inputs;
}

bool ReadValue(const Statement& statement, ConfigValue& value, ConfigMistakes& mistakes) {
    if (statement.equals == std::string::npos) {
        mistakes.Add(statement.line,
                     Quoted(statement.text) + " is neither \"key = value\" nor a [section]");
        return false;
    }
    value.line = statement.line;
    value.key = Poco::trim(statement.text.substr(0, statement.equals));
    const std::string text = Poco::trim(statement.text.substr(statement.equals + 1));
    if (!IsName(value.key)) {
        mistakes.Add(statement.line, Quoted(value.key) + " is not a key");
        return false;
    }
    if (text.empty()) {
        mistakes.Add(statement.line, value.key + " has no value");
        return false;
    }
    value.isList = text.front() == '[';
    if (value.isList && text == "[]") {
        return true;
    }
    if (value.isList && !text.ends_with(']')) {
        mistakes.Add(statement.line, "there is text behind the list of " + value.key);
        return false;
    }
    value.texts = SplitValue(text);
    if (!value.isList && value.texts.size() != 1) {
        mistakes.Add(statement.line, "the value of " + value.key +
                                         " is not one text; put quotes around a text with blanks "
                                         "or commas, and brackets around a list");
        return false;
    }
    return true;
}

}  // namespace

std::vector<ConfigSection> ReadConfigText(std::istream& in, ConfigMistakes& mistakes) {
    std::vector<ConfigSection> sections(1);
    StatementReader reader(in, mistakes);
    // The section of a malformed header is read only to report its mistakes.
    ConfigSection lost;
    ConfigSection* section = &sections.front();
    for (Statement statement; reader.Next(statement);) {
        if (statement.text.front() == '[') {
            ConfigSection next;
            const bool isRead = ReadHeader(statement, next, mistakes);
            section = isRead ? &sections.emplace_back(std::move(next)) : &lost;
            continue;
        }
        ConfigValue value;
        if (ReadValue(statement, value, mistakes)) {
            section->values.push_back(std::move(value));
        }
    }
    return sections;
}

}  // namespace velmora::tool
