// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/watch_session.h"

namespace velmora::tool {

/// Prints on standard error what a run read, dropped, matched and skipped.
/// \param isKept whether a document is written
/// \param seconds how long the run took
void PrintSummary(const WatchSession& session, bool isKept, double seconds);

}  // namespace velmora::tool
