// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "plot/chart.h"

#include <array>
#include <charconv>
#include <string>
#include <string_view>

namespace velmora::tool {

/// The text with characters that are markup in HTML and SVG replaced.
inline std::string EscapeMarkup(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        }
    }
    return out;
}

/// A place on a picture, to a hundredth.
inline std::string FormatNumber(double value) {
    std::array<char, 48> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                            std::chars_format::fixed, 2);
    return {digits.data(), end};
}

/// A value with five digits, for an axis.
inline std::string FormatShort(double value) {
    std::array<char, 32> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                            std::chars_format::general, 5);
    return {digits.data(), end};
}

inline std::string GetTitle(const Chart& chart) {
    return chart.stream + " " + chart.entry + (chart.unit.empty() ? "" : " (" + chart.unit + ")");
}

}  // namespace velmora::tool
