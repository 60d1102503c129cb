// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_row.h"

#include <bit>
#include <cstring>

namespace velmora::tool {

namespace {

using Word = std::uint64_t;

constexpr Word ones = 0x0101010101010101U;
constexpr Word lowBits = 0x7f * ones;

// The high bit of each byte that is zero; exact, since no byte carries into the next.
constexpr Word FindZeros(Word word) {
    return ~(((word & lowBits) + lowBits) | word | lowBits);
}

constexpr Word FindBytes(Word word, char byte) {
    return FindZeros(word ^ (ones * static_cast<unsigned char>(byte)));
}

// The bytes of a text from `at` on, the first one in the lowest bits; zeros follow its end.
Word Load(std::string_view text, std::size_t at) {
    static_assert(std::endian::native == std::endian::little);
    Word word = 0;
    const std::size_t size = text.size() - at;
    if (size >= sizeof(Word)) {
        std::memcpy(&word, text.data() + at, sizeof word);
    } else if (text.size() >= sizeof(Word)) {
        std::memcpy(&word, text.data() + text.size() - sizeof word, sizeof word);
        word >>= 8 * (sizeof word - size);
    } else {
        std::memcpy(&word, text.data() + at, size);
    }
    return word;
}

// One bit for each byte whose high bit is set.
constexpr Word Gather(Word highBits) {
    return (highBits >> 7U) * 0x0102040810204080U >> 56U;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string_view Trim(const char* from, const char* to) {
    while (from < to && IsBlank(*from)) {
        ++from;
    }
    while (from < to && IsBlank(to[-1])) {
        --to;
    }
    return {from, static_cast<std::size_t>(to - from)};
}

}  // namespace

// Finds the separators of 64 bytes before it looks at the fields between them: how many fields a
// row has can be foretold, how many begin in each of its words cannot.
bool CsvRow::Split(std::string_view newText, char delimiter, std::size_t newLine) {
    constexpr std::size_t wordsInBlock = 8;
    Refer(newText, newLine);
    const char* from = borrowed;
    Word special = 0;
    for (std::size_t block = 0; block < newText.size(); block += wordsInBlock * sizeof(Word)) {
        Word found = 0;
        for (std::size_t i = 0; i < wordsInBlock; ++i) {
            const std::size_t at = block + i * sizeof(Word);
            if (at >= newText.size()) {
                break;
            }
            const Word word = Load(newText, at);
            special |= FindBytes(word, '"') | FindBytes(word, '\r');
            found |= Gather(FindBytes(word, delimiter)) << (8 * i);
        }
        for (; found != 0; found &= found - 1) {
            const char* const stop = borrowed + block + std::countr_zero(found);
            AddPart(Trim(from, stop));
            from = stop + 1;
        }
    }
    AddPart(Trim(from, borrowed + borrowedSize));
    return special == 0;
}

}  // namespace velmora::tool
