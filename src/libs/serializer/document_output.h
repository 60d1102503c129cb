// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serialization_exception.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <ostream>
#include <string_view>
#include <utility>

namespace velmora::core::serialization::detail {

/// Buffers a document on its way to a stream.
class DocumentOutput {
  public:
    explicit DocumentOutput(std::ostream& stream) : stream(stream) {}

    DocumentOutput& operator<<(std::string_view text) {
        char* const place = Extend(text.size());
        if (!text.empty()) {
            std::memcpy(place, text.data(), text.size());
        }
        return *this;
    }
    DocumentOutput& operator<<(char character) {
        *Extend(1) = character;
        return *this;
    }
    /// Begins a line with two blanks a level, up to 32 levels: a deep tree would otherwise consist
    /// of blanks.
    void Indent(std::size_t depth) {
        constexpr std::size_t maxIndentLevels = 32;
        if (size >= chunkSize) {
            Write();
        }
        const std::size_t blanks = 2 * std::min(depth, maxIndentLevels);
        std::fill_n(Extend(blanks), blanks, ' ');
    }
    /// Writes what is left in the buffer and flushes the stream.
    void Finish() {
        Write();
        stream.flush();
        Check();
    }

  private:
    static constexpr std::size_t chunkSize = std::size_t{64} * 1024;

    // Where so many more bytes go.
    char* Extend(std::size_t count) {
        if (capacity - size < count) [[unlikely]] {
            Grow(count);
        }
        char* const place = buffer.get() + size;
        size += count;
        return place;
    }
    void Grow(std::size_t count) {
        const std::size_t larger = std::max(2 * capacity, size + count);
        auto grown = std::make_unique_for_overwrite<char[]>(larger);
        std::copy_n(buffer.get(), size, grown.get());
        buffer = std::move(grown);
        capacity = larger;
    }
    void Write() {
        stream.write(buffer.get(), static_cast<std::streamsize>(size));
        Check();
        size = 0;
    }
    void Check() const {
        if (!stream) {
            throw SerializationException("Cannot write the document: the stream failed.");
        }
    }

    std::ostream& stream;
    std::size_t capacity = 2 * chunkSize;
    std::size_t size = 0;
    std::unique_ptr<char[]> buffer = std::make_unique_for_overwrite<char[]>(capacity);
};

}  // namespace velmora::core::serialization::detail
