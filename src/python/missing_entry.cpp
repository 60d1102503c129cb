// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "missing_entry.h"

#include <algorithm>
#include <cstddef>

namespace velmora::python {

std::string DescribeMissingEntry(const core::tessaryn::StreamType& type, const std::string& name) {
    constexpr std::size_t maxNames = 10;
    const std::vector<std::string> names = type.GetEntryNames();
    std::string message = "Type " + type.GetName() + " " + type.GetVersion().ToString() +
                          " has no entry '" + name + "'";
    for (std::size_t i = 0; i < std::min(names.size(), maxNames); ++i) {
        message += (i == 0 ? "; it has '" : ", '") + names[i] + "'";
    }
    return message + (names.size() > maxNames ? ", ..." : "");
}

}  // namespace velmora::python
