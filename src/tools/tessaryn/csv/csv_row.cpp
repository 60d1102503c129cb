// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_row.h"

#include <algorithm>
#include <bit>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace velmora::tool {

namespace {

// One bit for each byte of up to 64, the first one's the lowest.
using Bits = std::uint64_t;

// Bytes that are examined together, padded with zeros.
#ifdef __SSE2__
struct Chunk {
    Bits Find(char byte) const {
        return static_cast<unsigned int>(
            _mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte))));
    }

    __m128i bytes = _mm_setzero_si128();
};
#else
struct Chunk {
    Bits Find(char byte) const {
        constexpr std::uint64_t ones = 0x0101010101010101U;
        constexpr std::uint64_t lowBits = 0x7f * ones;
        const std::uint64_t other = bytes ^ (ones * static_cast<unsigned char>(byte));
        // The high bit of each byte that is zero; exact, since no byte carries into the next.
        const std::uint64_t zeros = ~(((other & lowBits) + lowBits) | other | lowBits);
        return (zeros >> 7U) * 0x0102040810204080U >> 56U;
    }

    std::uint64_t bytes = 0;
    static_assert(std::endian::native == std::endian::little);
};
#endif

// The special bytes in a part of a row.
struct Marks {
    Bits delimiters = 0;
    Bits special = 0;
};

Marks FindMarks(std::string_view text, std::size_t at, char delimiter) {
    Chunk chunk;
    const std::size_t size = text.size() - at;
    std::size_t shift = 0;
    if (size >= sizeof chunk) {
        std::memcpy(&chunk, text.data() + at, sizeof chunk);
    } else if (text.size() >= sizeof chunk) {
        // The last bytes, with some of those before them, which are shifted out.
        shift = sizeof chunk - size;
        std::memcpy(&chunk, text.data() + at - shift, sizeof chunk);
    } else {
        std::memcpy(&chunk, text.data() + at, size);
    }
    return {chunk.Find(delimiter) >> shift, (chunk.Find('"') | chunk.Find('\r')) >> shift};
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

// Finds the separators of 64 bytes before it examines the fields between them: branches on the
// number of fields in a row are predictable, those on the number in each chunk are not.
bool CsvRow::Split(std::string_view newText, char delimiter, std::size_t newLine) {
    constexpr std::size_t blockSize = 64;
    Refer(newText, newLine);
    const char* from = borrowed;
    Bits special = 0;
    for (std::size_t block = 0; block < newText.size(); block += blockSize) {
        const std::size_t size = std::min(blockSize, newText.size() - block);
        Bits found = 0;
        for (std::size_t i = 0; i < size; i += sizeof(Chunk)) {
            const Marks marks = FindMarks(newText, block + i, delimiter);
            special |= marks.special;
            found |= marks.delimiters << i;
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
