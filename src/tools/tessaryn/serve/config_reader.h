// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/config_mistakes.h"
#include "serve/serve_config.h"

#include <string>

namespace velmora::tool {

/// Reads the configuration of `tessaryn serve`.
/// \param mistakes gets all that is wrong; what is returned is of use where there is nothing
ServeConfig ReadServeConfig(const std::string& path, ConfigMistakes& mistakes);

/// As above.
/// \throws CommandError with the first mistake as its message, and all others below
ServeConfig ReadServeConfig(const std::string& path);

}  // namespace velmora::tool
