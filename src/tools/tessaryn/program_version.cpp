// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "program_version.h"

#include "commit.h"

namespace velmora::tool {

std::string GetProgramVersion() {
    const std::string commit = TESSARYN_COMMIT;
    return "tessaryn " TESSARYN_VERSION + (commit.empty() ? "" : " (" + commit + ")");
}

}  // namespace velmora::tool
