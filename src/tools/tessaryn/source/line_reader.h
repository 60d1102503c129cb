// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "source/input_stream.h"

#include <chrono>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// Reads an input line by line; skips a byte order mark at its beginning.
class LineReader {
  public:
    /// The maximum number of bytes of a line that are kept.
    static constexpr std::size_t maxLength = 1024UL * 1024;

    struct Line {
        /// Without its line feed; cut if it is too long.
        std::string_view text;
        /// From 1.
        std::size_t number = 0;
        /// Whether a line feed ended it.
        bool isEnded = false;
        bool isTooLong = false;
    };

    /// \param input \ownership observes
    explicit LineReader(InputStream& input) : input(input) {}

    /// The next line; waits for it.
    /// \return \ownership lends: until the next call; null at the end of the input, or of the run,
    /// which drops a line that is not complete
    const Line* Next() {
        // Most lines lie within a block.
        if (!rest.empty() && pending.empty() && !skipping) {
            const void* const end = std::memchr(rest.data(), '\n', rest.size());
            if (end != nullptr) {
                const auto length =
                    static_cast<std::size_t>(static_cast<const char*>(end) - rest.data());
                const std::string_view text = rest.substr(0, length);
                rest.remove_prefix(length + 1);
                return Give(text, true);
            }
        }
        return NextOfBlocks();
    }

    /// The first lines, up to a pause in the input. Must be called before `Next`.
    /// \param minLines number of lines to wait for despite pauses
    /// \return valid until `Next`
    std::vector<std::string_view> Peek(std::ptrdiff_t minLines);

    /// Whether more input arrives within a time; lines that were read already count.
    bool HasMoreWithin(std::chrono::milliseconds time) {
        return rest.find('\n') != std::string_view::npos || input.HasMoreWithin(time);
    }

    /// Number of the line read last.
    std::size_t GetNumber() const { return line.number; }
    const std::string& GetName() const { return input.GetName(); }
    /// Whether the input, and not the run, has ended.
    bool IsAtEnd() const { return input.IsAtEnd(); }

  private:
    bool Append(std::string_view text);
    const Line* NextOfBlocks();
    const Line* Give(std::string_view text, bool isEnded, bool isTooLong = false) {
        wasGiven = true;
        line = {text, line.number + 1, isEnded, isTooLong};
        return &line;
    }

    InputStream& input;
    std::string first;
    std::string_view rest;
    bool hasMark = true;
    /// The beginning of a line whose end has not been read.
    std::string pending;
    bool wasGiven = false;
    /// Whether the rest of a line that is too long is being skipped.
    bool skipping = false;
    Line line;
};

}  // namespace velmora::tool
