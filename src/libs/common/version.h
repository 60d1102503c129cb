// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/export.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>

namespace velmora::utils {

/// A version of three parts, such as 1.0.0, in four bytes.
///
/// Order and arithmetic are those of the one 32-bit number that the parts form, the first part in
/// its highest byte: 1.0.0 - 0.0.1 is 0.255.65535, and sums and differences wrap around.
/// 0.0.0 stands for the absence of any version.
///
/// \threadsafety external
struct VELMORA_COMMON_API Version {
    /// 0.0.0, which stands for no version.
    constexpr Version() = default;
    constexpr Version(unsigned char first, unsigned char second, unsigned short third)
        : number((std::uint32_t{first} << 24U) | (std::uint32_t{second} << 16U) | third) {}
    /// Reads three unsigned decimal numbers joined by dots, as `ToString` writes them.
    /// \throws std::invalid_argument when anything else is in the text, or a part is too large;
    ///     the message quotes the text
    explicit Version(const std::string& text);

    constexpr unsigned char GetFirst() const { return static_cast<unsigned char>(number >> 24U); }
    constexpr unsigned char GetSecond() const { return static_cast<unsigned char>(number >> 16U); }
    constexpr unsigned short GetThird() const { return static_cast<unsigned short>(number); }

    /// The three parts as decimal numbers joined by dots, "1.0.0".
    std::string ToString() const;

    /// The largest version, 255.255.65535; it stands for whichever version is the latest.
    static constexpr Version Latest() { return {255, 255, 65535}; }
    /// The smallest step between two successive versions, 0.0.1.
    static constexpr Version SmallestDelta() { return {0, 0, 1}; }

    friend constexpr bool operator==(const Version&, const Version&) = default;
    friend constexpr auto operator<=>(const Version&, const Version&) = default;

    /// Adds modulo 2^32; a sum that is smaller than the summand has wrapped.
    constexpr Version& operator+=(const Version& other) {
        number += other.number;
        return *this;
    }
    /// Subtracts modulo 2^32, so that adding the same again gives the former value.
    constexpr Version& operator-=(const Version& other) {
        number -= other.number;
        return *this;
    }

    /// Writes what `ToString` gives.
    friend VELMORA_COMMON_API std::ostream& operator<<(std::ostream& out, const Version& version);

  private:
    friend struct std::hash<Version>;

    std::uint32_t number = 0;
};

}  // namespace velmora::utils

template <>
struct std::hash<velmora::utils::Version> {
    std::size_t operator()(const velmora::utils::Version& version) const noexcept {
        return std::hash<std::uint32_t>()(version.number);
    }
};
