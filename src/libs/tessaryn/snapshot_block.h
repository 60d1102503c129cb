// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

/// \file
/// The blocks that a snapshot consists of, see docs/snapshot_format.md. Internal to this library.

namespace velmora::core::tessaryn {

constexpr std::string_view snapshotMagic = "\x89VTS\r\n\x1a\n";
constexpr std::uint32_t snapshotVersion = 1;

/// The length at which a block of samples ends. No other block is longer.
constexpr std::size_t maxBlockLength = std::size_t{1} << 20;

/// Levels of groups: operations on them recurse.
constexpr std::size_t maxSnapshotDepth = 500;

enum class BlockKind : std::uint32_t { End, Types, Streams, Group, Stream, Samples };

/// Kind, checksum and length before the content.
constexpr std::size_t blockHeaderLength = 16;

/// Collects the content of a block.
class BlockWriter {
  public:
    explicit BlockWriter(std::ostream& out) : out(out) {}

    std::size_t GetLength() const { return content.size() - blockHeaderLength; }
    void AddNumber(std::uint64_t number);
    /// A number of either sign: small ones are short.
    void AddSigned(std::int64_t number) {
        const auto bits = static_cast<std::uint64_t>(number);
        AddNumber((bits << 1U) ^ (number < 0 ? ~std::uint64_t{0} : 0));
    }
    void AddByte(unsigned char byte) { content += static_cast<char>(byte); }
    void AddBytes(const char* bytes, std::size_t length) { content.append(bytes, length); }
    void AddText(std::string_view text) {
        AddNumber(text.size());
        content += text;
    }
    /// Writes the block; the next one begins.
    /// \throws serialization::SerializationException when the output fails
    void End(BlockKind kind);

  private:
    std::ostream& out;
    std::string content = std::string(blockHeaderLength, '\0');
};

/// Reads blocks and what they contain.
///
/// \throws DocumentException from each operation when the bytes are not of the requested kind
class BlockReader {
  public:
    BlockReader(std::istream& in, std::uint64_t maxBytes, std::uint64_t maxSample)
        : in(in), maxBytes(maxBytes), maxSample(maxSample) {}

    /// Reads magic and version.
    void Begin();
    /// Reads a block and checks it.
    BlockKind Next();

    bool IsAtEnd() const { return rest.empty(); }
    std::uint64_t TakeNumber() {
        constexpr unsigned char more = 0x80;
        const unsigned char first = TakeByte();
        return first < more ? first : TakeLongNumber(first);
    }
    std::int64_t TakeSigned() {
        const std::uint64_t bits = TakeNumber();
        return static_cast<std::int64_t>((bits >> 1U) ^ ((bits & 1U) != 0 ? ~std::uint64_t{0} : 0));
    }
    unsigned char TakeByte() { return static_cast<unsigned char>(TakeBytes(1).front()); }
    std::string_view TakeBytes(std::uint64_t length) {
        if (length > rest.size()) {
            Fail("The block is shorter than its content.");
        }
        const std::string_view bytes = rest.substr(0, static_cast<std::size_t>(length));
        rest.remove_prefix(bytes.size());
        return bytes;
    }
    std::string_view TakeText() { return TakeBytes(TakeNumber()); }
    std::string_view TakeRest() { return TakeBytes(rest.size()); }

    [[noreturn]] void Fail(const std::string& reason) const;

  private:
    std::uint64_t TakeLongNumber(std::uint64_t first);
    void ReadBytes(char* to, std::size_t length);

    std::istream& in;
    std::uint64_t maxBytes;
    std::uint64_t maxSample;
    std::uint64_t position = 0;
    std::uint64_t blockPosition = 0;
    std::string content;
    std::string_view rest;
};

}  // namespace velmora::core::tessaryn
