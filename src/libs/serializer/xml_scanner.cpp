// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/xml_scanner.h"

#include "serializer/text_escapes.h"
#include "serializer/xml_names.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace velmora::core::serialization::detail {

namespace {

// What a byte can be part of, and what needs a closer look in a text; bits.
constexpr unsigned nameStart = 1;
constexpr unsigned namePart = 2;
constexpr unsigned ampersand = 4;
constexpr unsigned notAscii = 8;
// Line feeds and tabs, which an attribute changes to blanks.
constexpr unsigned lineEnd = 16;
// Carriage returns, which the parser changes, and what no document may contain.
constexpr unsigned excluded = 32;
constexpr unsigned bracket = 64;

// No element has more. Each attribute is compared with those before it, so the parser, which has a
// table of them, decides about an element with many.
constexpr std::size_t maxAttributes = 8;

constexpr std::array<unsigned char, 256> byteClasses = [] {
    std::array<unsigned char, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        const bool isDigit = byte >= '0' && byte <= '9';
        const bool isLetter = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
        const bool isLineEnd = byte == '\n' || byte == '\t';
        unsigned bits = 0;
        bits |= isLetter || byte == '_' || byte == ':' ? nameStart | namePart : 0;
        bits |= isDigit || byte == '-' || byte == '.' ? namePart : 0;
        bits |= byte == '&' ? ampersand : 0;
        bits |= byte >= 0x80 ? notAscii : 0;
        bits |= isLineEnd ? lineEnd : 0;
        bits |= byte < 0x20 && !isLineEnd ? excluded : 0;
        bits |= byte == ']' ? bracket : 0;
        table[byte] = static_cast<unsigned char>(bits);
    }
    return table;
}();

unsigned ClassOf(char byte) {
    return byteClasses[static_cast<unsigned char>(byte)];
}

unsigned ClassesOf(std::string_view text) {
    unsigned classes = 0;
    for (const char byte : text) {
        classes |= ClassOf(byte);
    }
    return classes;
}

// The end of the name that begins at a byte; the byte itself if none does.
const char* FindNameEnd(const char* at) {
    if ((ClassOf(*at) & nameStart) != 0) {
        do {
            ++at;
        } while ((ClassOf(*at) & namePart) != 0);
    }
    return at;
}

// Whether non-ASCII bytes are what XML allows.
bool IsXmlUtf8(std::string_view text) {
    return IsUtf8(text) && text.find("\xEF\xBF\xBE") == std::string_view::npos &&
           text.find("\xEF\xBF\xBF") == std::string_view::npos;
}

}  // namespace

bool XmlScanner::Run() {
    input.Fill();
    Outcome outcome = ReadDeclaration();
    while (true) {
        if (outcome == Outcome::Read) {
            hasBegun = true;
        } else if (outcome == Outcome::Unknown || !input.Fill()) {
            return input.next == input.end && builder.IsComplete();
        }
        outcome = SkipBlanks() ? Outcome::Incomplete : ReadToken();
    }
}

// The declaration that is written here. Without one, a document is in UTF-8, too.
XmlScanner::Outcome XmlScanner::ReadDeclaration() {
    constexpr std::string_view declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
    const std::string_view text(input.next, input.end);
    if (text.starts_with(declaration)) {
        input.next += declaration.size();
        return Outcome::Read;
    }
    return text.empty() ? Outcome::Unknown : ReadToken();
}

// Skips blanks that no text can consist of. Returns whether the buffer is empty then.
bool XmlScanner::SkipBlanks() {
    if (!builder.HasText()) {
        while (*input.next == ' ' || *input.next == '\n' || *input.next == '\t' ||
               (*input.next == '\r' && input.next[1] == '\n')) {
            ++input.next;
        }
        if (input.next == input.end) {
            builder.AddText({});
            return true;
        }
    }
    return input.next == input.end;
}

XmlScanner::Outcome XmlScanner::ReadToken() {
    if (*input.next != '<') {
        return ReadText();
    }
    // The NUL byte behind the last one is none of these.
    switch (input.next[1]) {
        case '/':
            return ReadEndTag();
        case '!':
            return ReadComment();
        case '\0':
            return input.next + 1 == input.end ? Outcome::Incomplete : Outcome::Unknown;
        default:
            return ReadStartTag();
    }
}

XmlScanner::Outcome XmlScanner::ReadText() {
    if (!builder.IsInside()) {
        return Outcome::Unknown;
    }
    const auto* const end = static_cast<const char*>(
        std::memchr(input.next, '<', static_cast<std::size_t>(input.end - input.next)));
    if (end == nullptr) {
        return Outcome::Incomplete;
    }
    const std::string_view text(input.next, end);
    const unsigned classes = ClassesOf(text);
    if ((classes & excluded) != 0 || ((classes & notAscii) != 0 && !IsXmlUtf8(text)) ||
        ((classes & bracket) != 0 && text.find("]]>") != std::string_view::npos)) {
        return Outcome::Unknown;
    }
    if ((classes & ampersand) == 0) {
        builder.AddText(text);
    } else {
        decodedText.clear();
        if (!AppendDecoded(text, decodedText)) {
            return Outcome::Unknown;
        }
        builder.AddText(decodedText);
    }
    input.next = end;
    return Outcome::Read;
}

bool XmlScanner::AppendDecoded(std::string_view raw, std::string& decoded) const {
    constexpr struct {
        std::string_view entity;
        char character;
    } entities[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    while (true) {
        const std::size_t begin = raw.find('&');
        decoded += raw.substr(0, begin);
        if (begin == std::string_view::npos) {
            return true;
        }
        raw.remove_prefix(begin);
        const auto* const known =
            std::find_if(std::begin(entities), std::end(entities),
                         [raw](const auto& each) { return raw.starts_with(each.entity); });
        if (known == std::end(entities)) {
            return false;
        }
        decoded += known->character;
        raw.remove_prefix(known->entity.size());
    }
}

XmlScanner::Outcome XmlScanner::ReadComment() {
    constexpr std::string_view open = "<!--";
    constexpr std::string_view close = "-->";
    const std::string_view rest(input.next, input.end);
    if (rest.size() < open.size()) {
        return open.starts_with(rest) ? Outcome::Incomplete : Outcome::Unknown;
    }
    if (!rest.starts_with(open)) {
        return Outcome::Unknown;
    }
    const std::size_t end = rest.find("--", open.size());
    if (end == std::string_view::npos || rest.size() < end + close.size()) {
        return Outcome::Incomplete;
    }
    const std::string_view text = rest.substr(open.size(), end - open.size());
    const unsigned classes = ClassesOf(text);
    if (rest[end + 2] != '>' || (classes & excluded) != 0 ||
        ((classes & notAscii) != 0 && !IsXmlUtf8(text))) {
        return Outcome::Unknown;
    }
    builder.AddText({});
    input.next += end + close.size();
    return Outcome::Read;
}

XmlScanner::Outcome XmlScanner::ReadStartTag() {
    const char* const name = input.next + 1;
    const char* at = FindNameEnd(name);
    if (at == input.end) {
        return Outcome::Incomplete;
    }
    if (at == name || builder.IsComplete()) {
        return Outcome::Unknown;
    }
    const std::string_view element(name, at);
    attributes.clear();
    if (*at != '>') {
        const Outcome outcome = ReadAttributes(at);
        if (outcome != Outcome::Read) {
            return outcome;
        }
    }
    builder.Open(element, attributes);
    if (*at == '/') {
        builder.Close();
        ++at;
    }
    input.next = at + 1;
    return Outcome::Read;
}

// Reads up to the end of the tag, where the position then is.
XmlScanner::Outcome XmlScanner::ReadAttributes(const char*& at) {
    decodedValues.clear();
    while (true) {
        const char* const before = at;
        while (*at == ' ' || *at == '\n' || *at == '\t') {
            ++at;
        }
        if (*at == '>' || (*at == '/' && at[1] == '>')) {
            return Outcome::Read;
        }
        if (at == input.end || (*at == '/' && at + 1 == input.end)) {
            return Outcome::Incomplete;
        }
        if (at == before) {
            return Outcome::Unknown;
        }
        const Outcome outcome = ReadAttribute(at);
        if (outcome != Outcome::Read) {
            return outcome;
        }
    }
}

XmlScanner::Outcome XmlScanner::ReadAttribute(const char*& at) {
    const char* const name = at;
    const char* const equals = FindNameEnd(name);
    if (equals == input.end || equals + 1 == input.end) {
        return Outcome::Incomplete;
    }
    const char quote = equals[1];
    if (equals == name || *equals != '=' || (quote != '"' && quote != '\'')) {
        return Outcome::Unknown;
    }
    const char* const begin = equals + 2;
    const auto* const end = static_cast<const char*>(
        std::memchr(begin, quote, static_cast<std::size_t>(input.end - begin)));
    if (end == nullptr) {
        return Outcome::Incomplete;
    }
    if (attributes.size() == maxAttributes) {
        return Outcome::Unknown;
    }
    XmlAttribute attribute{{name, equals}, {begin, end}};
    const unsigned classes = ClassesOf(attribute.value);
    const bool isRepeated = std::any_of(
        attributes.begin(), attributes.end(),
        [&attribute](const XmlAttribute& other) { return other.name == attribute.name; });
    if (isRepeated || (classes & (excluded | lineEnd)) != 0 ||
        ((classes & notAscii) != 0 && !IsXmlUtf8(attribute.value)) ||
        attribute.value.find('<') != std::string_view::npos) {
        return Outcome::Unknown;
    }
    if ((classes & ampersand) != 0) {
        // Only a name needs entities.
        if (!decodedValues.empty() ||
            !AppendDecoded(attribute.value, decodedValues.emplace_back())) {
            return Outcome::Unknown;
        }
        attribute.value = decodedValues.back();
    }
    attributes.push_back(attribute);
    at = end + 1;
    return Outcome::Read;
}

XmlScanner::Outcome XmlScanner::ReadEndTag() {
    if (!builder.IsInside()) {
        return Outcome::Unknown;
    }
    const std::string_view element = builder.GetOpenElement();
    const std::string_view rest(input.next + 2, input.end);
    if (rest.size() <= element.size()) {
        return element.starts_with(rest) ? Outcome::Incomplete : Outcome::Unknown;
    }
    if (!rest.starts_with(element) || rest[element.size()] != '>') {
        return Outcome::Unknown;
    }
    builder.Close();
    input.next += 2 + element.size() + 1;
    return Outcome::Read;
}

}  // namespace velmora::core::serialization::detail
