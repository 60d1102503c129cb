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
    __m128i Compare(char byte) const { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte)); }
    Bits Find(char byte) const {
        return static_cast<unsigned int>(_mm_movemask_epi8(Compare(byte)));
    }

    __m128i bytes = _mm_setzero_si128();
};

// Whether one of several chunks has a quote or a carriage return.
class SpecialBytes {
  public:
    void Add(const Chunk& chunk) {
        found = _mm_or_si128(found, _mm_or_si128(chunk.Compare('"'), chunk.Compare('\r')));
    }
    bool IsEmpty() const { return _mm_movemask_epi8(found) == 0; }

  private:
    __m128i found = _mm_setzero_si128();
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

class SpecialBytes {
  public:
    void Add(const Chunk& chunk) { found |= chunk.Find('"') | chunk.Find('\r'); }
    bool IsEmpty() const { return found == 0; }

  private:
    Bits found = 0;
};
#endif

Chunk GetChunk(const char* text) {
    Chunk chunk;
    std::memcpy(&chunk, text, sizeof chunk);
    return chunk;
}

struct LastChunk {
    Chunk chunk;
    std::size_t shift = 0;
};

// The bytes from a place to the end, fewer than a chunk has, after as many of those before them as
// there are bits to shift out.
LastChunk GetLastChunk(std::string_view text, std::size_t at) {
    const std::size_t size = text.size() - at;
    if (text.size() < sizeof(Chunk)) {
        LastChunk last;
        std::memcpy(&last.chunk, text.data() + at, size);
        return last;
    }
    return {GetChunk(text.data() + text.size() - sizeof(Chunk)), sizeof(Chunk) - size};
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

// A part of a text without blanks around it.
std::string_view Trim(const char* from, const char* to) {
    // Most fields have none.
    const auto isLow = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
    if (from < to && (isLow(*from) || isLow(to[-1]))) {
        while (from < to && IsBlank(*from)) {
            ++from;
        }
        while (from < to && IsBlank(to[-1])) {
            --to;
        }
    }
    return {from, static_cast<std::size_t>(to - from)};
}

}  // namespace

// Finds the separators of 64 bytes before it examines the fields between them: branches on the
// number of fields in a row are predictable, those on the number in each chunk are not.
bool CsvRow::Split(std::string_view newText, char delimiter, std::size_t newLine) {
    constexpr std::size_t blockSize = 64;
    Refer(newText, newLine);
    const char* const begin = newText.data();
    const char* from = begin;
    const auto getField = [&](const char* to) {
        const std::string_view field = Trim(from, to);
        return Field{static_cast<std::uint32_t>(field.data() - begin),
                     static_cast<std::uint32_t>(field.size())};
    };
    SpecialBytes special;
    for (std::size_t block = 0; block < newText.size(); block += blockSize) {
        const std::size_t size = std::min(blockSize, newText.size() - block);
        Bits found = 0;
        std::size_t at = 0;
        for (; at + sizeof(Chunk) <= size; at += sizeof(Chunk)) {
            const Chunk chunk = GetChunk(begin + block + at);
            special.Add(chunk);
            found |= chunk.Find(delimiter) << at;
        }
        if (at < size) {
            const auto [chunk, shift] = GetLastChunk(newText, block + at);
            special.Add(chunk);
            found |= chunk.Find(delimiter) >> shift << at;
        }
        Field* field = Reserve(blockSize);
        const Field* const first = field;
        for (; found != 0; found &= found - 1) {
            const char* const stop = begin + block + std::countr_zero(found);
            *field++ = getField(stop);
            from = stop + 1;
        }
        count += static_cast<std::size_t>(field - first);
    }
    AddField(getField(begin + newText.size()));
    return special.IsEmpty();
}

}  // namespace velmora::tool
