// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"

#include <string>

namespace velmora::core::tessaryn {

/// How many digits of a `Float` or `Double` are written.
enum class Digits {
    rounded,  ///< 6 and 15, as `ToString` does
    exact     ///< as few as give the same number when they are read
};

/// Appends the text of one element, read with the getter of the entry's type.
/// \throws std::out_of_range when there is no such element
void AppendElementText(std::string& text, const Sample& sample, unsigned short entry,
                       unsigned int index, Digits digits);

/// The texts of all elements of an entry, joined with ";"; the characters of a `String`.
std::string EntryText(const Sample& sample, unsigned short entry, Digits digits);

}  // namespace velmora::core::tessaryn
