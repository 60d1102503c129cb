// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"

#include <string>
#include <string_view>
#include <vector>

namespace velmora::core::tessaryn {

class StreamType;

/// Whether a text is a name of the rule language: ASCII letters, digits and "_", not a digit first.
TESSARYN_API bool IsRuleName(std::string_view text);

/// The entries whose names no rule can contain, by id. A stream type may have entries of any name.
/// \threadsafety external: the type must not change meanwhile
TESSARYN_API std::vector<std::string> FindEntriesWithoutRuleName(const StreamType& type);

}  // namespace velmora::core::tessaryn
