// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/sample_json.h"
#include "tessaryn/sample.h"

#include <string>
#include <vector>

namespace velmora::inspector {

/// The line of a CSV file that names the columns.
void AppendCsvHeader(std::string& text, const std::vector<ShownEntry>& entries);
/// A sample: its time in UTC, then each entry; several elements are joined with ";".
void AppendCsvLine(std::string& text, const core::tessaryn::Sample& sample,
                   const std::vector<ShownEntry>& entries);

}  // namespace velmora::inspector
