// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/read_budget.h"
#include "serializer/serialization_exception.h"
#include "serializer/text_escapes.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <istream>
#include <iterator>
#include <string>

namespace velmora::core::serialization::detail {

/// Reads a stream in chunks and tracks the position of the byte taken last.
class JsonInput {
  public:
    JsonInput(std::istream& in, ReadBudget& budget)
        : stream(*in.rdbuf()), budget(budget), chunk(chunkSize, '\0') {
        Refill();
    }

    bool IsAtEnd() const { return next == end; }
    char Peek() const { return *next; }
    void Advance() {
        ++next;
        if (next == end) {
            lastOfPreviousChunk = next[-1];
            Refill();
        }
    }
    /// The byte taken last, or a blank before the first one.
    char GetLast() const { return next == chunk.data() ? lastOfPreviousChunk : next[-1]; }
    /// Throws a `SerializationException` with the position of the byte taken last.
    [[noreturn]] void Fail(const std::string& reason) {
        UpdatePosition();
        throw SerializationException(
            "The JSON document cannot be read at line " + std::to_string(line) + ", column " +
            std::to_string(std::max<std::size_t>(column, 1)) + ": " + reason);
    }

  private:
    static constexpr std::size_t chunkSize = std::size_t{64} * 1024;

    void Refill() {
        UpdatePosition();
        std::streamsize length = 0;
        try {
            length = stream.sgetn(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        } catch (const std::exception& exception) {
            Fail(exception.what());
        }
        if (!budget.AddChunk(static_cast<std::size_t>(length))) {
            Fail(budget.GetReason());
        }
        next = chunk.data();
        counted = next;
        end = next + length;
    }
    // Columns count characters, not bytes. A line feed belongs to the line that it ends.
    void UpdatePosition() {
        for (; counted != next; ++counted) {
            if (isAfterLineFeed) {
                ++line;
                column = 0;
            }
            isAfterLineFeed = *counted == '\n';
            if (!IsContinuationByte(*counted)) {
                ++column;
            }
        }
    }

    std::streambuf& stream;
    ReadBudget& budget;
    std::string chunk;
    const char* next = nullptr;
    const char* end = nullptr;
    char lastOfPreviousChunk = ' ';

    // The position of the byte before counted.
    const char* counted = nullptr;
    std::size_t line = 1;
    std::size_t column = 0;
    bool isAfterLineFeed = false;
};

/// Presents the input to the parser.
class JsonInputIterator {
  public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = char;

    JsonInputIterator() = default;
    explicit JsonInputIterator(JsonInput& input) : input(&input) {}

    char operator*() const { return input->Peek(); }
    JsonInputIterator& operator++() {
        input->Advance();
        return *this;
    }
    JsonInputIterator operator++(int) = delete;
    // The parser compares with the end only.
    bool operator==(const JsonInputIterator& /*other*/) const { return input->IsAtEnd(); }

  private:
    JsonInput* input = nullptr;
};

}  // namespace velmora::core::serialization::detail
