// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>

namespace velmora::tool {

/// What --version prints: name, version and, where the build knew it, the commit.
///
/// \return such as "tessaryn 1.0.0 (ad5fcca1)"; "-dirty" follows a commit that was changed
/// \threadsafety immutable
std::string GetProgramVersion();

}  // namespace velmora::tool
