// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/export.h"
#include "tessaryn/sample.h"

#include <string>
#include <vector>

namespace velmora::exchange {

/// Converts samples from one version of a type to another, by the names of entries.
///
/// An entry is copied to the entry of the same name if that has the same value type or one that
/// represents all values: signed to wider signed, unsigned to wider unsigned or signed, integers to
/// floating-point numbers that represent all of them, `Float` to `Double`. `Bool` and `String` are
/// copied only to themselves. Numbers of elements are those of the source. Entries that the source
/// lacks are left empty.
///
/// Both types must outlive the adapter and must not change meanwhile.
///
/// \threadsafety immutable
class EXCHANGE_API Adapter {
  public:
    /// \param source the type of the samples to convert
    /// \param target the type of the results. \ownership observes: must outlive them
    Adapter(const core::tessaryn::StreamType& source, core::tessaryn::StreamType& target);

    /// The entries of the source that cannot be copied: a sentence for each.
    const std::vector<std::string>& GetLosses() const { return losses; }

    /// A sample of the target type with the time and the entries of a sample of the source type.
    /// \throws std::invalid_argument when the sample has another layout than the source
    /// \throws std::length_error when the result would exceed 2^32-1 bytes
    core::tessaryn::Sample Adapt(const core::tessaryn::Sample& sample) const;

  private:
    struct Copy {
        unsigned short from;
        unsigned short to;
        void (*run)(const core::tessaryn::Sample& from, unsigned short fromEntry,
                    core::tessaryn::Sample& to, unsigned short toEntry);
    };

    const core::tessaryn::StreamType* source;
    core::tessaryn::StreamType* target;
    std::vector<Copy> copies;
    std::vector<unsigned short> emptied;
    std::vector<std::string> losses;
};

}  // namespace velmora::exchange
