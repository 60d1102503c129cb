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

/// Makes samples of one type from samples of another: entries of the same name and value type are
/// copied, the others keep their initial elements.
///
/// \threadsafety external
class SampleConverter {
  public:
    /// \param target must outlive this
    SampleConverter(const core::tessaryn::StreamType& source, core::tessaryn::StreamType& target);

    /// Whether there is an entry to copy, or neither type has entries.
    bool IsPossible() const { return isPossible; }
    std::unique_ptr<core::tessaryn::Sample> Convert(const core::tessaryn::Sample& sample);

  private:
    void Rearrange();

    core::tessaryn::StreamType& target;
    std::size_t sourceEntries;
    /// By entry of the target: that of the source, or none.
    std::vector<std::size_t> origins;
    bool isPossible;
    bool isSame;
    std::stringstream binary;
};

}  // namespace velmora::storage
