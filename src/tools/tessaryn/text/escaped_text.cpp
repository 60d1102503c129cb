// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/escaped_text.h"

#include <cstddef>
#include <cstdint>
#include <utf8.h>

namespace velmora::tool {

namespace {

constexpr std::size_t maxQuoteLength = 60;

constexpr char noQuote = '\0';

// Controls that change the order in which a terminal shows the text around them.
bool IsBidiControl(std::uint32_t code) {
    return code == 0x061C || code == 0x200E || code == 0x200F ||
           (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

bool IsPrintable(std::uint32_t code) {
    return code >= 0x20 && (code < 0x7F || code > 0x9F) && !IsBidiControl(code);
}

enum class Form { text, json };

void AppendHex(std::string& out, std::uint32_t number, int digits) {
    constexpr std::string_view hexDigits = "0123456789abcdef";
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) {
        out += hexDigits[(number >> shift) & 0xFU];
    }
}

// Appends bytes that are one unprintable character.
void AppendUnprintable(std::string& out, std::string_view bytes, std::uint32_t code, Form form) {
    if (code == '\n' || code == '\t' || code == '\r') {
        out += code == '\n' ? "\\n" : code == '\t' ? "\\t" : "\\r";
    } else if (form == Form::json) {
        // All of them are below U+10000.
        out += "\\u";
        AppendHex(out, code, 4);
    } else {
        for (const char byte : bytes) {
            out += "\\x";
            AppendHex(out, static_cast<unsigned char>(byte), 2);
        }
    }
}

void AppendEscaped(std::string& out, std::string_view text, char quote, Form form) {
    const char* const end = text.data() + text.size();
    for (const char* at = text.data(); at != end;) {
        const char* const invalid = utf8::find_invalid(at, end);
        while (at != invalid) {
            const char* const begin = at;
            const std::uint32_t code = utf8::unchecked::next(at);
            const std::string_view bytes(begin, static_cast<std::size_t>(at - begin));
            if (!IsPrintable(code)) {
                AppendUnprintable(out, bytes, code, form);
                continue;
            }
            if (quote != noQuote && (*begin == quote || *begin == '\\')) {
                out += '\\';
            }
            out += bytes;
        }
        if (at != end && form == Form::json) {
            out += "\xEF\xBF\xBD";
            ++at;
        } else if (at != end) {
            out += "\\x";
            AppendHex(out, static_cast<unsigned char>(*at++), 2);
        }
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
