// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/config_mistakes.h"
#include "serve/serve_config.h"

#include <string>

namespace velmora::tool {

/// Reads the configuration of `tessaryn serve`.
/// \param mistakes gets all mistakes; the result is valid only if there are none
ServeConfig ReadServeConfig(const std::string& path, ConfigMistakes& mistakes);

/// As above.
/// \throws CommandError with the first mistake as its message, and the others as details
ServeConfig ReadServeConfig(const std::string& path);

}  // namespace velmora::tool
