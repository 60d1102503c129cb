// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/document_printer.h"

#include "text/time_text.h"

#include <algorithm>
#include <string_view>

namespace velmora::tool {

namespace tsn = core::tessaryn;

std::string FormatHash(const tsn::StreamType& type) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char c : type.GetHash()) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 0xFU];
    }
    return text;
}

std::string FormatTime(const Poco::Timestamp& time) {
    const std::int64_t microseconds = time.epochMicroseconds();
    if (microseconds < minTime || microseconds > maxTime) {
        return std::to_string(microseconds) + "us";
    }
    std::string text;
    AppendTime(text, microseconds);
    return text;
}

unsigned int GetMaxElements(const std::vector<tsn::Sample*>& samples, unsigned short entry) {
    unsigned int maxElements = 0;
    for (const tsn::Sample* const sample : samples) {
        maxElements = std::max(maxElements, sample->GetSize(entry));
    }
    return maxElements;
}

}  // namespace velmora::tool
