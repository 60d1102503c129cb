// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_time.h"

#include "tessaryn/sample_access.h"

namespace velmora::core::tessaryn {

void SetTimeStamp(Sample& sample, const Poco::Timestamp& timestamp) {
    SampleAccess::SetTime(sample, timestamp);
}

}  // namespace velmora::core::tessaryn
