// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/line_reader.h"

#include <algorithm>
#include <cstring>

namespace velmora::tool {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t maxPeeked = 64UL * 1024;
constexpr std::chrono::milliseconds maxPause{200};

std::size_t FindLineFeed(std::string_view text) {
    const void* const found = std::memchr(text.data(), '\n', text.size());
    return found == nullptr
               ? std::string_view::npos
               : static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

}  // namespace

const LineReader::Line* LineReader::NextOfBlocks() {
    if (wasGiven) {
        pending.clear();
        wasGiven = false;
    }
    if (hasMark && first.empty()) {
        Peek(1);
    }
    while (true) {
        if (rest.empty()) {
            rest = input.Read();
        }
        if (rest.empty()) {
            const bool isLast = input.IsAtEnd() && !pending.empty();
            return isLast ? Give(pending, false) : nullptr;
        }
        const std::size_t end = FindLineFeed(rest);
        const bool isEnded = end != std::string_view::npos;
        const std::string_view text = rest.substr(0, isEnded ? end : rest.size());
        rest.remove_prefix(text.size() + (isEnded ? 1 : 0));
        if (skipping) {
            skipping = !isEnded;
            continue;
        }
        if (isEnded && pending.empty()) {
            return Give(text, true);
        }
        if (!Append(text)) {
            skipping = !isEnded;
            return Give(pending, isEnded, true);
        }
        if (isEnded) {
            return Give(pending, true);
        }
    }
}

// Returns false when the line has become too long.
bool LineReader::Append(std::string_view text) {
    const std::size_t room = maxLength - std::min(pending.size(), maxLength);
    pending += text.substr(0, room);
    return text.size() <= room;
}

std::vector<std::string_view> LineReader::Peek(std::ptrdiff_t minLines) {
    while (first.size() < maxPeeked) {
        const bool isEnough = std::count(first.begin(), first.end(), '\n') >= minLines;
        if (isEnough && !input.HasMoreWithin(maxPause)) {
            break;
        }
        const std::string_view block = input.Read();
        if (block.empty()) {
            break;
        }
        first += block;
    }
    rest = first;
    hasMark = false;
    if (rest.starts_with(byteOrderMark)) {
        rest.remove_prefix(byteOrderMark.size());
    }
    std::vector<std::string_view> lines;
    std::string_view text = rest;
    while (!text.empty()) {
        const std::size_t end = FindLineFeed(text);
        const bool isEnded = end != std::string_view::npos;
        // The last line may have been cut off.
        if (isEnded || lines.size() < 2) {
            lines.push_back(text.substr(0, end));
        }
        text.remove_prefix(isEnded ? end + 1 : text.size());
    }
    return lines;
}

}  // namespace velmora::tool
