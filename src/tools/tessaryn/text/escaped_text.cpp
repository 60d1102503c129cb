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

// Controls that change the order in which a terminal shows the text around them.
bool IsBidiControl(std::uint32_t code) {
    return code == 0x061C || code == 0x200E || code == 0x200F ||
           (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

bool IsPrintable(const Character& character) {
    const std::uint32_t code = character.code;
    return character.valid && code >= 0x20 && (code < 0x7F || code > 0x9F) && !IsBidiControl(code);
}

enum class Form { text, json };

void AppendHex(std::string& out, std::uint32_t number, int digits) {
    constexpr std::string_view hexDigits = "0123456789abcdef";
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        out += hexDigits[(number >> shift) & 0xFU];
    }
}

void AppendUnprintable(std::string& out, std::string_view bytes, const Character& character,
                       Form form) {
    if (bytes == "\n" || bytes == "\t" || bytes == "\r") {
        out += bytes == "\n" ? "\\n" : bytes == "\t" ? "\\t" : "\\r";
    } else if (form == Form::text) {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            out += "\\x";
            AppendHex(out, ByteAt(bytes, i), 2);
        }
    } else if (character.valid) {
        // All that are valid are below U+10000.
        out += "\\u";
        AppendHex(out, character.code, 4);
    } else {
        out += "\xEF\xBF\xBD";
    }
}

void AppendEscaped(std::string& out, std::string_view text, char quote, Form form) {
    for (std::size_t at = 0; at < text.size();) {
        const Character character = Decode(text, at);
        const std::string_view bytes = text.substr(at, character.length);
        if (!IsPrintable(character)) {
            AppendUnprintable(out, bytes, character, form);
        } else {
            if (quote != noQuote && (bytes.front() == quote || bytes.front() == '\\')) {
                out += '\\';
            }
            out += bytes;
        }
        at += character.length;
    }
}

bool NeedsNoQuotes(std::string_view text) {
    for (const char c : text) {
        if (c <= ' ' || c >= 0x7F || c == '"' || c == '\\' || c == ';' || c == ']') {
            return false;
        }
    }
    return !text.empty();
}

}  // namespace

void AppendWord(std::string& out, std::string_view text) {
    if (NeedsNoQuotes(text)) {
        out += text;
        return;
    }
    out += '"';
    AppendEscaped(out, text, '"', Form::text);
    out += '"';
}

void AppendEscaped(std::string& out, std::string_view text) {
    AppendEscaped(out, text, noQuote, Form::text);
}

void AppendJsonString(std::string& out, std::string_view text) {
    out += '"';
    AppendEscaped(out, text, '"', Form::json);
    out += '"';
}

std::string Quoted(std::string_view text) {
    std::string out = "'";
    AppendEscaped(out, text.substr(0, maxQuoteLength), '\'', Form::text);
    if (text.size() > maxQuoteLength) {
        out += "...";
    }
    out += '\'';
    return out;
}

}  // namespace velmora::tool
