// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/export.h"
#include "tessaryn/stream_type.h"

#include <array>
#include <compare>
#include <cstddef>
#include <cstring>
#include <functional>
#include <string>

namespace velmora::exchange {

/// 16 bytes that identify a record layout between processes: its type's full name, its version, and
/// the keys and value types of its entries in their order. Initial sizes do not matter.
///
/// The first half of a SHA-256 (FIPS 180-4) over the description without initial sizes, as
/// specified in `docs/exchange_format.md`: nobody can construct a second layout with a given
/// fingerprint.
///
/// \threadsafety external
struct EXCHANGE_API Fingerprint {
    std::array<unsigned char, 16> bytes{};

    /// 32 hexadecimal digits in lower case.
    std::string ToString() const;

    friend bool operator==(const Fingerprint&, const Fingerprint&) = default;
    friend auto operator<=>(const Fingerprint&, const Fingerprint&) = default;
};

/// The fingerprint of a type's layout. Linear in the number of its entries.
/// \throws std::length_error when full name and keys take more than 4 GiB
/// \threadsafety external: the type must not change meanwhile
EXCHANGE_API Fingerprint FingerprintOf(const core::tessaryn::StreamType& type);

}  // namespace velmora::exchange

template <>
struct std::hash<velmora::exchange::Fingerprint> {
    std::size_t operator()(const velmora::exchange::Fingerprint& fingerprint) const noexcept {
        std::size_t value;
        std::memcpy(&value, fingerprint.bytes.data(), sizeof value);
        return value;
    }
};
