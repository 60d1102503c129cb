// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "terminal/input_file.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace velmora::tool {

/// Unpacks a compressed input.
class Decompressor {
  public:
    Decompressor() = default;
    Decompressor(const Decompressor&) = delete;
    Decompressor& operator=(const Decompressor&) = delete;
    virtual ~Decompressor() = default;

    /// Unpacks into a block of memory.
    /// \param packed the bytes read but not unpacked yet; unpacked ones are removed
    /// \return bytes written
    /// \throws CommandError with the reason when the data is corrupt
    virtual std::size_t Unpack(std::string_view& packed, char* to, std::size_t size) = 0;

    /// Whether the data may end here.
    virtual bool IsComplete() const = 0;
};

/// The bytes of a file or of standard input, unpacked if the content is gzip or Zstandard.
class InputStream {
  public:
    explicit InputStream(std::unique_ptr<InputFile> file) : file(std::move(file)) {}

    /// The next bytes; waits until there are some.
    /// \return valid until the next call; empty at the end of the input, or of the run
    /// \throws CommandError when reading fails, the data is corrupt or cut off, or the content is
    /// of a kind that cannot be read, which the message names
    std::string_view Read();

    /// The first bytes, which `Read` gives again.
    /// \throws CommandError as above
    std::string_view Peek();

    /// Whether more input, or its end, arrives within a time.
    bool HasMoreWithin(std::chrono::milliseconds time) {
        return !peeked.empty() || !packed.empty() || file->HasMoreWithin(time);
    }

    void BeforeRead(std::function<void()> action) { file->BeforeRead(std::move(action)); }
    bool IsAtEnd() const { return file->IsAtEnd(); }
    const std::string& GetName() const { return file->GetName(); }
    /// Bytes of the file read so far, before unpacking.
    std::uint64_t GetPosition() const { return file->GetPosition(); }
    std::uint64_t GetSize() const { return file->GetSize(); }

  private:
    std::string_view ReadUnpacked();
    std::string_view Unpack();
    void CheckKind(std::string_view beginning) const;

    std::unique_ptr<InputFile> file;
    std::unique_ptr<Decompressor> decompressor;
    const char* container = "";
    bool begun = false;
    std::string_view peeked;
    std::string_view packed;
    std::string unpacked;
};

}  // namespace velmora::tool
