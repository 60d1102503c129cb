// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/escaped_text.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace velmora::tool {

namespace {

constexpr std::size_t maxQuoteLength = 60;

constexpr char noQuote = '\0';

struct Character {
    std::size_t length = 1;
    std::uint32_t code = 0;
    bool valid = false;
};

constexpr unsigned int ByteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

// Length of the UTF-8 sequence that this byte begins; 0 for a byte that begins none.
constexpr std::size_t LengthAfter(unsigned int first) {
    if (first < 0x80) {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4) {
        return 0;
    }
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

Character Decode(std::string_view text, std::size_t at) {
    constexpr std::array<std::uint32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
    const unsigned int first = ByteAt(text, at);
    const std::size_t length = LengthAfter(first);
    if (length == 0 || text.size() - at < length) {
        return {};
    }
    if (length == 1) {
        return {1, first, true};
    }
    std::uint32_t code = first & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned int next = ByteAt(text, at + i);
        if ((next & 0xC0U) != 0x80U) {
            return {};
        }
        code = (code << 6) | (next & 0x3FU);
    }
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < smallest[length] || code > 0x10FFFF || surrogate) {
        return {};
    }
    return {length, code, true};
}

// Whether a terminal shows the character and does nothing else.
bool IsHarmless(const Character& character) {
    const std::uint32_t code = character.code;
    return character.valid && code >= 0x20 && (code < 0x7F || code > 0x9F);
}

void AppendHex(std::string& out, unsigned int byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    out += "\\x";
    out += digits[byte >> 4];
    out += digits[byte & 0xFU];
}

void AppendEscaped(std::string& out, std::string_view text, char quote) {
    for (std::size_t at = 0; at < text.size();) {
        const Character character = Decode(text, at);
        const char byte = text[at];
        if (byte == '\n' || byte == '\t' || byte == '\r') {
            out += '\\';
            out += byte == '\n' ? 'n' : byte == '\t' ? 't' : 'r';
        } else if (IsHarmless(character)) {
            if (quote != noQuote && (byte == quote || byte == '\\')) {
                out += '\\';
            }
            out += text.substr(at, character.length);
        } else {
            for (std::size_t i = 0; i < character.length; ++i) {
                AppendHex(out, ByteAt(text, at + i));
            }
        }
        at += character.length;
    }
}

bool IsPlainWord(std::string_view text) {
    for (const char c : text) {
        const bool plain = c > ' ' && c < 0x7F;
        if (!plain || c == '"' || c == '\\' || c == ';' || c == ']') {
            return false;
        }
    }
    return !text.empty();
}

}  // namespace

void AppendWord(std::string& out, std::string_view text) {
    if (IsPlainWord(text)) {
        out += text;
        return;
    }
    out += '"';
    AppendEscaped(out, text, '"');
    out += '"';
}

void AppendEscaped(std::string& out, std::string_view text) {
    AppendEscaped(out, text, noQuote);
}

std::string Quoted(std::string_view text) {
    std::string out = "'";
    AppendEscaped(out, text.substr(0, maxQuoteLength), '\'');
    if (text.size() > maxQuoteLength) {
        out += "...";
    }
    out += '\'';
    return out;
}

std::string ToUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const Character character = Decode(text, at);
        out += character.valid ? text.substr(at, character.length) : "\xEF\xBF\xBD";
        at += character.length;
    }
    return out;
}

}  // namespace velmora::tool
