// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/text_escapes.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <utf8.h>

namespace velmora::core::serialization::detail {

namespace {

bool IsControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20U || byte == 0x7FU;
}

// Most texts are ASCII. Without an exit from its loop, this is done for many bytes at once.
bool IsAscii(std::string_view text) {
    unsigned char bits = 0;
    for (const char character : text) {
        bits |= static_cast<unsigned char>(character);
    }
    return bits < 0x80U;
}

void AppendEscape(std::string& out, char character) {
    constexpr std::string_view digits = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(character);
    switch (character) {
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

// Reads the escape sequence at the beginning of a text. Returns its length, or 0 if it is invalid.
std::size_t ReadEscape(std::string_view text, std::string& out) {
    constexpr std::string_view letters = "\\nrt";
    constexpr std::string_view meanings = "\\\n\r\t";
    if (text.size() < 2) {
        return 0;
    }
    if (const std::size_t letter = letters.find(text[1]); letter != std::string_view::npos) {
        out += meanings[letter];
        return 2;
    }
    constexpr std::size_t length = 4;
    if (text[1] != 'x' || text.size() < length) {
        return 0;
    }
    unsigned char byte = 0;
    const char* const end = text.data() + length;
    if (std::from_chars(text.data() + 2, end, byte, 16).ptr != end) {
        return 0;
    }
    out += static_cast<char>(byte);
    return length;
}

}  // namespace

bool IsUtf8(std::string_view text) {
    return IsAscii(text) || utf8::is_valid(text.begin(), text.end());
}

bool NeedsEscapes(std::string_view text) {
    if (text.starts_with(' ') || text.ends_with(' ')) {
        return true;
    }
    unsigned char bits = 0;
    for (const char character : text) {
        if (IsControl(character)) {
            return true;
        }
        bits |= static_cast<unsigned char>(character);
    }
    if (bits < 0x80U) {
        return false;
    }
    // U+FFFE and U+FFFF are well-formed, but XML excludes both.
    return text.find("\xEF\xBF\xBE") != std::string_view::npos ||
           text.find("\xEF\xBF\xBF") != std::string_view::npos || !IsUtf8(text);
}

std::string Escape(std::string_view text) {
    constexpr std::uint32_t firstNonCharacter = 0xFFFE;
    std::string out;
    const auto end = text.end();
    for (auto at = text.begin(); at != end;) {
        const auto invalid = utf8::find_invalid(at, end);
        while (at != invalid) {
            const auto begin = at;
            const std::uint32_t code = utf8::unchecked::next(at);
            const bool isBlankAtEnd = code == ' ' && (begin == text.begin() || at == end);
            const bool isNonCharacter = code == firstNonCharacter || code == firstNonCharacter + 1;
            if (isBlankAtEnd || isNonCharacter || IsControl(*begin) || code == '\\') {
                std::for_each(begin, at, [&out](char byte) { AppendEscape(out, byte); });
            } else {
                out.append(begin, at);
            }
        }
        if (at != end) {
            AppendEscape(out, *at);
            ++at;
        }
    }
    return out;
}

std::optional<std::string> Unescape(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const std::size_t backslash = std::min(text.find('\\'), text.size());
        out += text.substr(0, backslash);
        text.remove_prefix(backslash);
        if (!text.empty()) {
            const std::size_t length = ReadEscape(text, out);
            if (length == 0) {
                return std::nullopt;
            }
            text.remove_prefix(length);
        }
    }
    return out;
}

std::string Printable(std::string_view text) {
    const bool hasControls = std::any_of(text.begin(), text.end(), IsControl);
    return hasControls ? Escape(text) : std::string(text);
}

std::string Quote(std::string_view text) {
    constexpr std::size_t maxLength = 64;
    constexpr std::size_t maxSequenceLength = 4;
    if (text.size() <= maxLength) {
        return "'" + Printable(text) + "'";
    }
    std::size_t length = maxLength;
    // Does not cut a UTF-8 sequence, so that valid text stays valid.
    while (length > maxLength - maxSequenceLength && IsContinuationByte(text[length])) {
        --length;
    }
    return "'" + Printable(text.substr(0, length)) + "...'";
}

}  // namespace velmora::core::serialization::detail
