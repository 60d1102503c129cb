// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample_view.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace velmora::core::tessaryn {

/// The keys of a sample's entries with a single number, read once for all rules that need them.
/// \threadsafety external
class EntryKeys {
  public:
    /// Later entries have no keys here.
    static constexpr unsigned short maxEntries = 31;

    /// Must be called when the sample has changed.
    void Forget() { known = tried = 0; }

    /// The entries whose keys are known, one bit each.
    std::uint32_t Known() const { return known; }
    std::uint64_t operator[](unsigned short entry) const { return keys[entry]; }

    /// Reads unknown keys.
    /// \param entries numeric entries, one bit each
    /// \return whether all are known now; NaN and several elements have no key
    bool Read(std::uint32_t entries, const SampleView& sample);

  private:
    std::uint32_t known = 0;
    std::uint32_t tried = 0;
    // Uninitialised while they are not known.
    std::array<std::uint64_t, maxEntries> keys;
};

}  // namespace velmora::core::tessaryn
