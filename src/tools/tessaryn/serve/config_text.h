// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/config_mistakes.h"

#include <cstddef>
#include <istream>
#include <string>
#include <vector>

namespace velmora::tool {

/// "key = value" of a configuration.
struct ConfigValue {
    std::size_t line = 0;
    std::string key;
    std::vector<std::string> texts;
    /// Whether it stands in brackets; otherwise there is one text.
    bool isList = false;
};

/// What stands below "[kind.name]", "[kind]" or, with an empty kind, above the first of them.
struct ConfigSection {
    std::size_t line = 0;
    std::string kind;
    std::string name;
    std::vector<ConfigValue> values;
};

/// Reads the sections of a configuration in a part of TOML: "key = value" lines, where a value is a
/// text in single or double quotes, a bare word, or a list of them in brackets, over several lines
/// too; sections "[kind]" and "[kind.name]"; comments that begin with "#".
///
/// Backslashes mean themselves, so that one before a double quote is refused.
std::vector<ConfigSection> ReadConfigText(std::istream& in, ConfigMistakes& mistakes);

}  // namespace velmora::tool
