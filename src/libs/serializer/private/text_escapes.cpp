// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/private/text_escapes.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace velmora::core::serialization::detail {

namespace {

unsigned char ByteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

bool IsControl(unsigned char byte) {
    return byte < 0x20U || byte == 0x7FU;
}

// The length of the well-formed sequence of several bytes that starts here, else 0. The second
// byte has narrower bounds after some first ones: they keep out overlong forms (E0, F0),
// surrogates (ED) and what lies beyond the last code point (F4).
std::size_t GetSequenceLength(std::string_view text, std::size_t at) {
    const unsigned char first = ByteAt(text, at);
    if (first < 0xC2U || first > 0xF4U) {
        return 0;
    }
    const std::size_t length = first < 0xE0U ? 2 : first < 0xF0U ? 3 : 4;
    if (text.size() - at < length) {
        return 0;
    }
    const unsigned char lowest = first == 0xE0U ? 0xA0U : first == 0xF0U ? 0x90U : 0x80U;
    const unsigned char highest = first == 0xEDU ? 0x9FU : first == 0xF4U ? 0x8FU : 0xBFU;
    const unsigned char second = ByteAt(text, at + 1);
    if (second < lowest || second > highest) {
        return 0;
    }
    for (std::size_t i = 2; i < length; ++i) {
        if ((ByteAt(text, at + i) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    return length;
}

// The length of the character that starts here if it may stand in any document, else 0.
std::size_t GetPlainLength(std::string_view text, std::size_t at) {
    const unsigned char first = ByteAt(text, at);
    if (first < 0x80U) {
        return IsControl(first) ? 0 : 1;
    }
    const std::size_t length = GetSequenceLength(text, at);
    // U+FFFE and U+FFFF are well-formed, but XML admits neither.
    const bool nonCharacter = first == 0xEFU && length == 3 && ByteAt(text, at + 1) == 0xBFU &&
                              ByteAt(text, at + 2) >= 0xBEU;
    return nonCharacter ? 0 : length;
}

void AppendEscapedByte(std::string& out, unsigned char byte) {
    constexpr std::string_view digits = "0123456789abcdef";
    switch (byte) {
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            out += "\\x";
            out += digits[byte >> 4U];
            out += digits[byte & 0xFU];
    }
}

// Reads one escape, whose backslash stands at the place given; gives its length, or 0.
std::size_t ReadEscape(std::string_view text, std::size_t at, std::string& out) {
    constexpr std::string_view letters = "\\nrt";
    constexpr std::string_view meanings = "\\\n\r\t";
    const std::string_view rest = text.substr(at + 1);
    if (rest.empty()) {
        return 0;
    }
    if (const std::size_t letter = letters.find(rest.front()); letter != std::string_view::npos) {
        out += meanings[letter];
        return 2;
    }
    unsigned char byte = 0;
    if (rest.front() != 'x' || rest.size() < 3) {
        return 0;
    }
    const char* const end = rest.data() + 3;
    if (std::from_chars(rest.data() + 1, end, byte, 16).ptr != end) {
        return 0;
    }
    out += static_cast<char>(byte);
    return 4;
}

}  // namespace

bool IsUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = ByteAt(text, at) < 0x80U ? 1 : GetSequenceLength(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

bool IsPlainText(std::string_view text) {
    if (text.empty() || text.front() == ' ' || text.back() == ' ') {
        return false;
    }
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = GetPlainLength(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string Escape(std::string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = GetPlainLength(text, at);
        const bool blankAtEnd = text[at] == ' ' && (at == 0 || at + 1 == text.size());
        if (length == 0 || blankAtEnd || text[at] == '\\') {
            AppendEscapedByte(out, ByteAt(text, at));
            ++at;
        } else {
            out += text.substr(at, length);
            at += length;
        }
    }
    return out;
}

std::optional<std::string> Unescape(std::string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t backslash = std::min(text.find('\\', at), text.size());
        out += text.substr(at, backslash - at);
        at = backslash;
        if (at < text.size()) {
            const std::size_t length = ReadEscape(text, at, out);
            if (length == 0) {
                return std::nullopt;
            }
            at += length;
        }
    }
    return out;
}

std::string Printable(std::string_view text) {
    const bool shown = std::none_of(text.begin(), text.end(), [](char byte) {
        return IsControl(static_cast<unsigned char>(byte));
    });
    return shown ? std::string(text) : Escape(text);
}

}  // namespace velmora::core::serialization::detail
