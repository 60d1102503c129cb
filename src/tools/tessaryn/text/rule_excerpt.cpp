// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/rule_excerpt.h"

#include "text/escaped_text.h"

#include <algorithm>
#include <cstddef>

namespace velmora::tool {

namespace {

constexpr std::size_t maxBefore = 40;
constexpr std::size_t maxMarked = 20;
constexpr std::size_t maxAfter = 20;
constexpr std::string_view indent = "  ";
constexpr std::string_view omission = "...";

bool ContinuesCharacter(std::string_view text, std::size_t at) {
    return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
}

// A place in a text, moved back to the beginning of the character that it lies in.
std::size_t BeginOfCharacter(std::string_view text, std::size_t at) {
    for (int i = 0; i < 3 && at > 0 && ContinuesCharacter(text, at); ++i) {
        --at;
    }
    return at;
}

// Likewise, moved on to its end.
std::size_t EndOfCharacter(std::string_view text, std::size_t at) {
    for (int i = 0; i < 3 && ContinuesCharacter(text, at); ++i) {
        ++at;
    }
    return at;
}

std::string Escape(std::string_view text) {
    std::string escaped;
    AppendEscaped(escaped, text);
    return escaped;
}

std::size_t CountColumns(std::string_view text) {
    std::size_t columns = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        columns += ContinuesCharacter(text, at) ? 0U : 1U;
    }
    return columns;
}

}  // namespace

std::string MarkInRule(std::string_view rule, core::tessaryn::TextSpan span,
                       std::string_view hint) {
    const std::size_t offset = BeginOfCharacter(rule, std::min(span.offset, rule.size()));
    const std::size_t begin = offset <= maxBefore ? 0 : BeginOfCharacter(rule, offset - maxBefore);
    const std::size_t markedEnd =
        EndOfCharacter(rule, std::min(span.offset + std::min(span.length, maxMarked), rule.size()));
    const std::size_t end = rule.size() - markedEnd <= maxAfter
                                ? rule.size()
                                : BeginOfCharacter(rule, markedEnd + maxAfter);
    const std::string before = (begin == 0 ? std::string() : std::string(omission)) +
                               Escape(rule.substr(begin, offset - begin));
    const std::string marked = Escape(rule.substr(offset, markedEnd - offset));
    const std::string after = Escape(rule.substr(markedEnd, end - markedEnd));
    const std::size_t columns = std::max<std::size_t>(CountColumns(marked), 1);

    std::string lines(indent);
    lines += before + marked + after;
    lines += end == rule.size() ? "" : omission;
    lines += '\n';
    lines += indent;
    lines += std::string(CountColumns(before), ' ') + '^' + std::string(columns - 1, '~');
    lines += hint.empty() ? "" : " ";
    lines += Escape(hint);
    lines += '\n';
    return lines;
}

}  // namespace velmora::tool
