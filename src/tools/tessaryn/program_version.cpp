// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "program_version.h"

#include "commit.h"

namespace velmora::tool {

std::string GetProgramVersion() {
    // Empty if the sources were neither in a repository nor in an archive of one.
    const char* const commit = TESSARYN_COMMIT;
    const std::string version = "tessaryn " TESSARYN_VERSION;
    return *commit == '\0' ? version : version + " (" + commit + ")";
}

}  // namespace velmora::tool
