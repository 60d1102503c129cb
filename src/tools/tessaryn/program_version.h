// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>

namespace velmora::tool {

/// Output of --version: name, version and, if the build knew it, the commit.
///
/// \return such as "tessaryn 1.0.0 (ad5fcca1)"; "-dirty" follows the commit when sources were
/// changed
/// \threadsafety immutable
std::string GetProgramVersion();

}  // namespace velmora::tool
