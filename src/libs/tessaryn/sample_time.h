// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"

#include <Poco/Timestamp.h>

namespace velmora::core::tessaryn {

class Sample;

/// Gives a sample another time in place: for one that is filled again and again. `Restamped` makes
/// a copy.
/// \param timestamp microseconds since the Unix epoch, UTC
/// \threadsafety external
TESSARYN_API void SetTimeStamp(Sample& sample, const Poco::Timestamp& timestamp);

}  // namespace velmora::core::tessaryn
