// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/json_line_forms.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <bit>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace velmora::tool {

namespace {

// Longer numbers are left to the parser, which may refuse them.
constexpr std::ptrdiff_t maxNumberLength = 40;

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whether a byte of a text stands for itself: neither the end nor the beginning of an escape, of
// ASCII, and no control character.
bool IsPlain(char c) {
    return c >= ' ' && c != '"' && c != '\\' && static_cast<unsigned char>(c) < 0x80;
}

const char* SkipPlain(const char* at, const char* end) {
#ifdef __SSE2__
    for (; end - at >= static_cast<std::ptrdiff_t>(sizeof(__m128i)); at += sizeof(__m128i)) {
        __m128i bytes;
        std::memcpy(&bytes, at, sizeof bytes);
        // Bytes beyond ASCII are negative.
        const __m128i isLow = _mm_cmplt_epi8(bytes, _mm_set1_epi8(' '));
        const __m128i isMark = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')),
                                            _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\')));
        const auto found =
            static_cast<unsigned int>(_mm_movemask_epi8(_mm_or_si128(isLow, isMark)));
        if (found != 0) {
            return at + std::countr_zero(found);
        }
    }
#endif
    while (at < end && IsPlain(*at)) {
        ++at;
    }
    return at;
}

const char* SkipDigits(const char* at, const char* end) {
    while (at < end && IsDigit(*at)) {
        ++at;
    }
    return at;
}

// The end of a number without an exponent; null for anything else. Digits after a leading zero are
// left, where none may follow.
const char* SkipNumber(const char* at, const char* end) {
    const char* const begin = at;
    at += at < end && *at == '-' ? 1 : 0;
    if (at == end || !IsDigit(*at)) {
        return nullptr;
    }
    at = *at == '0' ? at + 1 : SkipDigits(at, end);
    if (at < end && *at == '.') {
        const char* const fraction = at + 1;
        at = SkipDigits(fraction, end);
        if (at == fraction) {
            return nullptr;
        }
    }
    return at - begin <= maxNumberLength ? at : nullptr;
}

// The place after a text that begins at a quote.
std::size_t FindTextEnd(std::string_view line, std::size_t quote) {
    std::size_t at = quote + 1;
    while (at < line.size() && line[at] != '"') {
        at += line[at] == '\\' ? 2 : 1;
    }
    return std::min(at + 1, line.size());
}

// The end of a value, and what it is as a cell; null for no value that is plain.
const char* SkipValue(const char* at, const char* end, std::string_view& cell) {
    const auto getText = [&](const char* to) {
        return std::string_view(at, static_cast<std::size_t>(to - at));
    };
    if (at == end) {
        return nullptr;
    }
    if (*at == '"') {
        ++at;
        const char* const quote = SkipPlain(at, end);
        cell = getText(quote);
        return quote < end && *quote == '"' ? quote + 1 : nullptr;
    }
    if (*at == '-' || IsDigit(*at)) {
        const char* const after = SkipNumber(at, end);
        cell = after == nullptr ? std::string_view() : getText(after);
        return after;
    }
    const std::string_view rest = getText(end);
    for (const std::string_view word : {"null", "true", "false"}) {
        if (rest.starts_with(word)) {
            cell = word == "null" ? std::string_view() : rest.substr(0, word.size());
            return at + word.size();
        }
    }
    return nullptr;
}

}  // namespace

void JsonLineForms::Learn(std::string_view line, const std::vector<std::size_t>& columns) {
    auto& [literals, cells] = forms[oldest];
    literals.clear();
    cells.clear();
    std::size_t begin = 0;
    for (std::size_t at = 0; at < line.size();) {
        std::size_t end = at + 1;
        bool isValue = line[at] == '-' || Poco::Ascii::isAlphaNumeric(line[at]);
        if (isValue) {
            end = std::min(line.find_first_of(",} \t\r", at), line.size());
        } else if (line[at] == '"') {
            end = FindTextEnd(line, at);
            // The name of a member has a colon after it.
            const std::size_t next = line.find_first_not_of(" \t\r", end);
            isValue = next == std::string_view::npos || line[next] != ':';
        }
        if (line[at] == '[' || (isValue && cells.size() == columns.size())) {
            literals.clear();
            return;
        }
        if (isValue) {
            literals.emplace_back(line.substr(begin, at - begin));
            cells.push_back({columns[cells.size()]});
            begin = end;
        }
        at = end;
    }
    literals.emplace_back(line.substr(begin));
    latest = oldest;
    oldest = (oldest + 1) % forms.size();
}

bool JsonLineForms::Form::Read(std::string_view line) {
    const char* at = line.data();
    const char* const end = at + line.size();
    const auto skip = [&](const std::string& literal) {
        const bool isThere = static_cast<std::size_t>(end - at) >= literal.size() &&
                             std::memcmp(at, literal.data(), literal.size()) == 0;
        at += isThere ? literal.size() : 0;
        return isThere;
    };
    bool isRead = !literals.empty();
    for (std::size_t i = 0; isRead && i < cells.size(); ++i) {
        isRead = skip(literals[i]);
        at = isRead ? SkipValue(at, end, cells[i].text) : nullptr;
        isRead = at != nullptr;
    }
    return isRead && skip(literals.back()) && at == end;
}

const std::vector<JsonLineForms::Cell>* JsonLineForms::Read(std::string_view line) {
    for (std::size_t i = 0; i < forms.size(); ++i) {
        const std::size_t tried = (latest + i) % forms.size();
        if (forms[tried].Read(line)) {
            latest = tried;
            failures = 0;
            return &forms[tried].cells;
        }
    }
    failures = std::min(failures + 1, maxFailures);
    return nullptr;
}

bool JsonLineForms::IsPromising() {
    if (failures < maxFailures) {
        return true;
    }
    leftOut = (leftOut + 1) % maxLeftOut;
    return leftOut == 0;
}

}  // namespace velmora::tool
