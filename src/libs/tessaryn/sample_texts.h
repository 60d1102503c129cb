// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/sample.h"

#include <span>
#include <string_view>

namespace velmora::core::tessaryn {

/// Sets the texts of `String` entries that follow each other, all of them or none, and stamps the
/// sample once.
///
/// Linear in the sample's memory. A setter for each text moves all later entries each time: for
/// thousands of texts in one sample that takes seconds. Writes the memory, also where a derived
/// class overrides setters.
/// \param first the id of the entry that gets the first text
/// \param texts must not be those of the sample itself
/// \throws std::out_of_range when there is no entry for a text
/// \throws TypeMismatchException when one is not a `String`
/// \throws std::length_error when the sample would exceed 2^32-1 bytes
/// \threadsafety external
TESSARYN_API void SetTexts(Sample& sample, unsigned short first,
                           std::span<const std::string_view> texts);

}  // namespace velmora::core::tessaryn
