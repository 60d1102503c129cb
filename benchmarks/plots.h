// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <map>
#include <string>

namespace velmora::benchmarks {

/// Writes a picture (SVG) of each curve of which two points were measured, such as "rules.svg".
/// \param nanoseconds by the benchmark's name
/// \param folder exists
/// \throws std::runtime_error when a file cannot be written
void WritePlots(const std::map<std::string, double>& nanoseconds, const std::string& folder);

}  // namespace velmora::benchmarks
