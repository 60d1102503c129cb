// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "type_record.h"

#include <string>

namespace velmora::python {

/// The message for an entry that a type does not have: names both, and the entries that there are.
std::string DescribeMissingEntry(const core::tessaryn::StreamType& type, const std::string& name);

}  // namespace velmora::python
