// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serialization_exception.h"

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

namespace velmora::core::serialization::detail {

/// Buffers a document on its way to a stream.
class DocumentOutput {
  public:
    explicit DocumentOutput(std::ostream& stream) : stream(stream) {
        buffer.reserve(2 * chunkSize);
    }

    DocumentOutput& operator<<(std::string_view text) {
        buffer += text;
        return *this;
    }
    DocumentOutput& operator<<(char character) {
        buffer += character;
        return *this;
    }
    /// Begins a line with two blanks a level, up to 32 levels: a deep tree would otherwise consist
    /// of blanks.
    void Indent(std::size_t depth) {
        constexpr std::size_t maxIndentLevels = 32;
        if (buffer.size() >= chunkSize) {
            Write();
        }
        buffer.append(2 * std::min(depth, maxIndentLevels), ' ');
    }
    /// Writes what is left in the buffer and flushes the stream.
    void Finish() {
        Write();
        stream.flush();
        Check();
    }

  private:
    static constexpr std::size_t chunkSize = std::size_t{64} * 1024;

    void Write() {
        stream.write(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        Check();
        buffer.clear();
    }
    void Check() const {
        if (!stream) {
            throw SerializationException("Cannot write the document: the stream failed.");
        }
    }

    std::ostream& stream;
    std::string buffer;
};

}  // namespace velmora::core::serialization::detail
