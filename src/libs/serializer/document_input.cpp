// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/document_input.h"

#include "serializer/serialization_exception.h"
#include "serializer/text_escapes.h"

#include <algorithm>
#include <exception>

namespace velmora::core::serialization::detail {

void TextPosition::Advance(std::string_view text) {
    const auto feeds = std::count(text.begin(), text.end(), '\n');
    if (feeds != 0) {
        line += static_cast<std::size_t>(feeds);
        column = 1;
        text.remove_prefix(text.rfind('\n') + 1);
    }
    column += static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char byte) { return !IsContinuationByte(byte); }));
}

void FailAt(std::string_view form, const TextPosition& position, const std::string& reason) {
    throw SerializationException("The " + std::string(form) + " document cannot be read at line " +
                                 std::to_string(position.line) + ", column " +
                                 std::to_string(position.column) + ": " + reason);
}

bool DocumentInput::Fill(std::size_t held) {
    if (isAtEnd) {
        return false;
    }
    constexpr std::size_t minLength = std::size_t{64} * 1024;
    constexpr std::size_t maxLength = std::size_t{256} * 1024 * 1024;
    // The byte taken last stays for its position.
    const std::size_t kept = buffer.empty() ? 0 : static_cast<std::size_t>(end - GetLast());
    const std::size_t taken = buffer.empty() ? 0 : static_cast<std::size_t>(next - GetLast());
    if (!buffer.empty()) {
        begin.Advance({buffer.data(), GetLast()});
        std::copy(GetLast(), end, buffer.data());
    }
    const std::size_t length = std::clamp(std::max(kept, held), minLength, maxLength);
    if (buffer.size() < kept + length + 1) {
        buffer.resize(kept + length + 1);
    }
    next = buffer.data() + taken;
    end = buffer.data() + kept;
    std::size_t count = 0;
    try {
        count = static_cast<std::size_t>(
            stream.sgetn(buffer.data() + kept, static_cast<std::streamsize>(length)));
    } catch (const std::exception& exception) {
        Fail(GetLast(), exception.what());
    }
    isAtEnd = count < length;
    buffer[kept + count] = '\0';
    if (!budget.AddChunk(count)) {
        Fail(GetLast(), budget.GetReason());
    }
    end += count;
    return count != 0;
}

TextPosition DocumentInput::GetPosition(const char* byte) const {
    TextPosition position = begin;
    if (byte != nullptr) {
        position.Advance({buffer.data(), byte});
    }
    return position;
}

void DocumentInput::Fail(const char* byte, const std::string& reason) const {
    TextPosition position = GetPosition(byte);
    // The character has begun before.
    if (byte != end && IsContinuationByte(*byte) && position.column > 1) {
        --position.column;
    }
    FailAt(form, position, reason);
}

}  // namespace velmora::core::serialization::detail
