// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample_view.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace velmora::core::tessaryn {

/// The keys of a sample's entries that are one number each, read once for all rules that ask for
/// them.
/// \threadsafety external
class EntryKeys {
  public:
    /// Of later entries there are none.
    static constexpr unsigned short maxEntries = 31;

    /// Has to be called when the sample has changed.
    void Forget() { known = tried = 0; }

    /// A bit for each entry whose key is known.
    std::uint32_t Known() const { return known; }
    std::uint64_t operator[](unsigned short entry) const { return keys[entry]; }

    /// Reads keys that are not known.
    /// \param entries a bit for each entry, of numbers
    /// \return whether all are known now: none is, of NaN and of several elements
    bool Read(std::uint32_t entries, const SampleView& sample);

  private:
    std::uint32_t known = 0;
    std::uint32_t tried = 0;
    // Without a value while they are not known.
    std::array<std::uint64_t, maxEntries> keys;
};

}  // namespace velmora::core::tessaryn
