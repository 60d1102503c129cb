// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/document_input.h"
#include "serializer/text_escapes.h"

#include <rapidjson/reader.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utf8.h>

/// \file
/// What the JSON parser is made of beside its library. Internal to this library.

namespace velmora::core::serialization::detail {

/// Presents a document to the parser, in UTF-8 and checked to be so.
class JsonInput : public DocumentInput {
  public:
    using Ch = char;

    JsonInput(std::istream& in, ReadBudget& budget) : DocumentInput(in, budget, "JSON") {
        Refill();
        constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
        if (std::string_view(next, end).starts_with(byteOrderMark)) {
            next += byteOrderMark.size();
        }
    }

    // The byte after the last one is NUL, also that before the first one that is not UTF-8.
    char Peek() const { return next == valid ? '\0' : *next; }
    char Take() {
        const char taken = *next++;
        if (next == valid) {
            Refill();
        }
        return taken;
    }
    std::size_t Tell() const { return 0; }
    /// The bytes that can be copied from a string as they are.
    std::string_view GetPlainBytes() const {
        const char* const stop = std::find_if(
            next, valid, [](char byte) { return !isPlain[static_cast<unsigned char>(byte)]; });
        return {next, stop};
    }
    void Skip(std::size_t count) {
        next += count;
        if (next == valid) {
            Refill();
        }
    }
    bool IsAtEnd() const { return next == end && HasReadAll(); }
    bool IsAtInvalidByte() const { return next == valid && next != end; }

    /// Fails at the byte that the parser has not taken.
    [[noreturn]] void FailAtNext(const std::string& reason) const {
        Fail(next == end ? GetLast() : next, reason);
    }

    // For writing in place, which is not done.
    char* PutBegin() { return nullptr; }
    void Put(char /*byte*/) {}
    char* Push(std::size_t /*count*/) { return nullptr; }
    std::size_t PutEnd(char* /*begin*/) { return 0; }

  private:
    static constexpr std::array<bool, 256> isPlain = [] {
        std::array<bool, 256> table{};
        for (std::size_t byte = 0x20; byte < table.size(); ++byte) {
            table[byte] = byte != '"' && byte != '\\';
        }
        return table;
    }();

    // Reads more unless the next byte is invalid.
    void Refill() {
        constexpr std::ptrdiff_t maxSequence = 4;
        while (next == valid && end - next < maxSequence) {
            const bool hasMore = Fill();
            // A sequence may continue in the next chunk.
            valid = IsUtf8({next, end}) ? end : utf8::find_invalid(next, end);
            if (!hasMore) {
                return;
            }
        }
    }

    const char* valid = nullptr;
};

/// The encoding of documents and strings: UTF-8 that was checked before, copied many bytes at once.
struct CheckedUtf8 : rapidjson::UTF8<> {};

/// Fails with `std::bad_alloc`; that of the library returns null, which the parser does not expect.
struct JsonAllocator {
    static constexpr bool kNeedFree = true;  // NOLINT(readability-identifier-naming)

    static void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }
    static void* Realloc(void* old, std::size_t /*oldSize*/, std::size_t size) {
        // The parser asks for no bytes only to free them.
        if (size == 0) {
            std::free(old);
            return nullptr;
        }
        if (void* const memory = std::realloc(old, size)) {
            return memory;
        }
        throw std::bad_alloc();
    }
    static void Free(void* memory) { std::free(memory); }
};

using JsonParser = rapidjson::GenericReader<CheckedUtf8, CheckedUtf8, JsonAllocator>;

}  // namespace velmora::core::serialization::detail

/// How the parser copies from a string what is no escape sequence.
template <>
struct rapidjson::Transcoder<velmora::core::serialization::detail::CheckedUtf8,
                             velmora::core::serialization::detail::CheckedUtf8> {
    template <class Input, class Output>
    static bool Transcode(Input& in, Output& out) {
        const std::string_view bytes = in.GetPlainBytes();
        std::memcpy(out.Push(static_cast<rapidjson::SizeType>(bytes.size())), bytes.data(),
                    bytes.size());
        in.Skip(bytes.size());
        return true;
    }
    template <class Input, class Output>
    static bool Validate(Input& in, Output& out) {
        return Transcode(in, out);
    }
};

/// How the parser skips blanks.
template <>
inline void rapidjson::SkipWhitespace(velmora::core::serialization::detail::JsonInput& in) {
    for (char byte = in.Peek(); byte == ' ' || byte == '\n' || byte == '\r' || byte == '\t';
         byte = in.Peek()) {
        in.Take();
    }
}
