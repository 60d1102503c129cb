// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/read_budget.h"

#include <cstddef>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// Internal to this library.

namespace velmora::core::serialization::detail {

/// Line and column of a byte, both counted from 1. Columns count characters, not bytes; a line feed
/// belongs to the line that it ends.
struct TextPosition {
    std::size_t line = 1;
    std::size_t column = 1;

    /// Moves behind a text.
    void Advance(std::string_view text);
};

/// Throws a `SerializationException` for a document that cannot be read.
/// \param form "XML" or "JSON"
[[noreturn]] void FailAt(std::string_view form, const TextPosition& position,
                         const std::string& reason);

/// Reads a document in chunks and knows the positions of its bytes.
class DocumentInput {
  public:
    DocumentInput(std::istream& in, ReadBudget& budget, std::string_view form)
        : stream(*in.rdbuf()), budget(budget), form(form) {}

    /// The bytes that were read and not taken yet. They are followed by a NUL byte. A parser moves
    /// `next`.
    const char* next = nullptr;
    const char* end = nullptr;

    /// Reads more, behind the bytes not taken yet, which move. Returns false at the end.
    ///
    /// As much is read as there is already, so that a parser that begins again with a token that
    /// was incomplete takes linear time.
    /// \param held bytes that the parser holds of such a token itself
    /// \throws SerializationException when the stream fails or a limit is exceeded
    bool Fill(std::size_t held = 0);
    /// Whether the last byte of the document was read, though maybe not taken.
    bool HasReadAll() const { return isAtEnd; }

    /// The position of a byte not taken yet, or of the last one taken.
    TextPosition GetPosition(const char* byte) const;
    /// The byte taken last; `next` before the first one.
    const char* GetLast() const { return next == buffer.data() ? next : next - 1; }
    /// Throws a `SerializationException` with the position of a byte.
    [[noreturn]] void Fail(const char* byte, const std::string& reason) const;

  private:
    std::streambuf& stream;
    ReadBudget& budget;
    std::string_view form;
    std::vector<char> buffer;
    // The position of the first byte of the buffer.
    TextPosition begin;
    bool isAtEnd = false;
};

}  // namespace velmora::core::serialization::detail
