// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/export.h"
#include "tessaryn/base_type.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <string>

namespace velmora::delivery {

/// Reads one entry of samples by name. The look-up is remembered for samples of the same type.
///
/// \threadsafety external
class DELIVERY_API EntryReader {
  public:
    explicit EntryReader(const std::string& name);

    const std::string& GetName() const { return name; }
    /// Whether the sample has the entry. The functions below require that it does.
    bool Find(const core::tessaryn::Sample& sample);
    /// The entry's number of elements.
    unsigned int GetSize(const core::tessaryn::Sample& sample) const { return sample.GetSize(id); }
    /// Whether elements are numbers or Booleans.
    bool IsNumeric() const { return type != core::tessaryn::String; }
    /// One element as a number; integers beyond 2^53 are rounded.
    double GetNumber(const core::tessaryn::Sample& sample, unsigned int index) const;
    /// Whether the entry has the same elements in another sample of the type; NaN equals NaN.
    bool IsEqual(const core::tessaryn::Sample& a, const core::tessaryn::Sample& b) const;

  private:
    std::string name;
    std::uint64_t layout = 0;
    core::tessaryn::BaseType type = core::tessaryn::UnknownType;
    unsigned short id = core::tessaryn::StreamType::invalidEntryId;
};

}  // namespace velmora::delivery
