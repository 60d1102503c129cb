// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::storage {

/// Makes samples of one type from samples of another: entries of the same name and value type keep
/// their elements, the others have their initial ones.
///
/// \threadsafety external
class SampleConverter {
  public:
    /// \param target must outlive this
    SampleConverter(const core::tessaryn::StreamType& source, core::tessaryn::StreamType& target);

    /// Whether there is an entry to take over, or neither type has one.
    bool IsPossible() const { return isPossible; }
    std::unique_ptr<core::tessaryn::Sample> Convert(const core::tessaryn::Sample& sample);

  private:
    void Rearrange();

    core::tessaryn::StreamType& target;
    std::size_t sourceEntries;
    /// By entry of the target: the source's, or none.
    std::vector<std::size_t> origins;
    bool isPossible;
    bool isSame;
    std::stringstream binary;
};

}  // namespace velmora::storage
