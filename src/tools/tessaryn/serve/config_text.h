// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/config_mistakes.h"

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

namespace velmora::tool {

/// A "key = value" of a configuration.
struct ConfigValue {
    std::size_t line = 0;
    std::string key;
    std::vector<std::string> texts;
    /// Whether the value is a list in brackets; otherwise there is one text.
    bool isList = false;
};

/// The values below a header "[kind.name]" or "[kind]"; the kind is empty for those above the first
/// header.
struct ConfigSection {
    std::size_t line = 0;
    std::string kind;
    std::string name;
    std::vector<ConfigValue> values;
};

/// Reads the sections of a configuration in a subset of TOML: "key = value" lines, where a value is
/// a text in single or double quotes, a bare word, or a list of these in brackets, also over
/// several lines; sections "[kind]" and "[kind.name]"; comments that begin with "#".
///
/// A backslash has no special meaning; one before a double quote is refused.
std::vector<ConfigSection> ReadConfigText(std::istream& in, ConfigMistakes& mistakes);

}  // namespace velmora::tool
