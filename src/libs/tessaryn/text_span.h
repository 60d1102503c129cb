// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>

namespace velmora::core::tessaryn {

/// A part of a rule's text, in bytes.
/// \threadsafety external
struct TextSpan {
    /// Where it begins, counted from 0.
    std::size_t offset = 0;
    /// 0 for a place between two characters, such as the end of the text.
    std::size_t length = 0;

    /// Whether both spans are the same part.
    friend bool operator==(const TextSpan& left, const TextSpan& right) = default;
};

}  // namespace velmora::core::tessaryn
