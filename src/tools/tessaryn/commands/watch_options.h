// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/memory_option.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// The command line of `tessaryn watch`.
struct WatchOptions {
    std::string source;
    std::vector<std::string> rules;
    std::string stream;
    std::vector<std::string> types;
    std::string timeColumn;
    std::optional<long> maxSize;
    std::string every;
    std::string duration;
    std::string output = "text";
    std::string save;
    std::string load;
    std::uint64_t maxMemory = defaultMaxMemory;
    bool skipBad = false;
    bool quiet = false;
};

}  // namespace velmora::tool
