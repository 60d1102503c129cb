// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/private/sample_view.h"
#include "tessaryn/stream_type.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace velmora::core::tessaryn {

/// An entry's name, and what it stands for in the stream type that was asked last.
///
/// \threadsafety immutable to its callers: the number of the type's state, the entry's id and its
/// value type are published together in one word, so a thread sees all or looks them up itself
class EntryBinding {
  public:
    struct Entry {
        unsigned short id;
        /// `UnknownType` when the type has no such entry, or it was not accepted.
        BaseType type;
    };

    /// Bound to no entry.
    EntryBinding() = default;
    /// \param entryName \ownership observes: must outlive the binding
    explicit EntryBinding(const std::string& entryName) : name(&entryName) {}
    // A copy has still to be bound.
    EntryBinding(const EntryBinding& other) : name(other.name) {}
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): a self-assigned one is bound anew
    EntryBinding& operator=(const EntryBinding& other) {
        name = other.name;
        bound.store(0, std::memory_order_relaxed);
        return *this;
    }

    /// The entry in a sample's type.
    /// \param sample the sample
    /// \param accepts whether a value type will do; must answer the same at all times
    template <class Accepts>
    Entry In(const SampleView& sample, Accepts accepts) const {
        std::uint64_t word = bound.load(std::memory_order_relaxed);
        if (word >> numberShift != sample.LayoutNumber())
            word = Bind(sample, accepts);
        return {static_cast<unsigned short>(word >> typeBits),
                static_cast<BaseType>(word & typeMask)};
    }

  private:
    static constexpr unsigned int typeBits = 4;
    static constexpr unsigned int typeMask = (1U << typeBits) - 1;
    static constexpr unsigned int numberShift = 16 + typeBits;

    template <class Accepts>
    std::uint64_t Bind(const SampleView& sample, Accepts accepts) const {
        const StreamType& type = sample.Type();
        const unsigned short id =
            type.EntryExists(*name) ? type.EntryId(*name) : StreamType::invalidEntryId;
        const BaseType declared = type.GetType(id);
        const unsigned int kept = accepts(declared) ? declared : UnknownType;
        const std::uint64_t word =
            sample.LayoutNumber() << numberShift | std::uint64_t{id} << typeBits | kept;
        bound.store(word, std::memory_order_relaxed);
        return word;
    }

    const std::string* name = nullptr;
    /// No type's number is 0.
    mutable std::atomic<std::uint64_t> bound{0};
};

}  // namespace velmora::core::tessaryn
