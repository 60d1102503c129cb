// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/inspector_options.h"
#include "inspector/json_text.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::inspector {

/// An entry of a type that an answer shows.
///
/// \threadsafety external
struct ShownEntry {
    unsigned short id = 0;
    std::string name;
    core::tessaryn::BaseType type = core::tessaryn::UnknownType;
    unsigned int initialSize = 1;
};

/// Entries of a type.
/// \param names joined with commas; none for the first entries
/// \throws RequestError when the type has no such entry
std::vector<ShownEntry> SelectEntries(const core::tessaryn::StreamType& type,
                                      const std::optional<std::string>& names,
                                      const InspectorLimits& limits);

/// The first element of an entry as a number; NaN where there is none.
double NumberOf(const core::tessaryn::Sample& sample, const ShownEntry& entry);

/// The value of an entry: a single value, or an array of the first elements. Null when there is
/// none.
void AppendValue(JsonText& json, const core::tessaryn::Sample& sample, const ShownEntry& entry,
                 const InspectorLimits& limits);
/// Appends an object "values" with the entries and, if some were cut, an object "sizes" with the
/// full sizes of these.
void AppendValues(JsonText& json, const core::tessaryn::Sample& sample,
                  const std::vector<ShownEntry>& entries, const InspectorLimits& limits);

/// Microseconds since the Unix epoch, now.
std::int64_t Now();

}  // namespace velmora::inspector
