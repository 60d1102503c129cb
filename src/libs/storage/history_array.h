// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <string>
#include <string_view>

/// \file
/// The elements of an entry as a JSON array: `[1,2]`, `[true]`, `[0.1,null,1e999]`. NaN is
/// null, an infinity 1e999 or -1e999; numbers have the fewest digits that give the same number when
/// read.

namespace velmora::storage {

/// Appends the array of an entry that is not a `String`.
void AppendArray(std::string& json, const core::tessaryn::Sample& sample, unsigned short entry,
                 core::tessaryn::BaseType type);

/// Appends the elements' bytes, as a sample holds them.
/// \return whether the text is such an array; if it is not, some of the bytes may be appended
bool ReadArray(std::string_view json, core::tessaryn::BaseType type, std::string& bytes);

}  // namespace velmora::storage
