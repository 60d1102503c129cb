// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample_view.h"
#include "tessaryn/stream_type.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace velmora::core::tessaryn {

/// What an entry's name stands for in the stream type that was asked last.
///
/// \threadsafety immutable to its callers: the number of the type's state, the entry's id and its
/// value type are published together in one word, so a thread sees all or looks them up itself
class EntryBinding {
  public:
    struct Entry {
        unsigned short id;
        /// What was kept of its type; `UnknownType` when the type has no such entry.
        BaseType type;
    };

    EntryBinding() = default;
    // A copy has still to be bound.
    EntryBinding(const EntryBinding& /*other*/) {}
    EntryBinding& operator=(const EntryBinding&) = delete;

    /// The entry in a sample's type.
    /// \param sample the sample
    /// \param name the entry's name; the same at all times
    /// \param keep what is to be remembered of a value type, below 16; the same at all times
    template <class Keep>
    Entry In(const SampleView& sample, const std::string& name, Keep keep) const {
        std::uint64_t word = bound.load(std::memory_order_relaxed);
        if (word >> numberShift != sample.LayoutNumber()) [[unlikely]] {
            word = Bind(sample, name, keep);
        }
        return EntryOf(word);
    }

    /// Hands over the entry, if the sample is whole and its type the one that was asked last.
    /// \param sample the sample
    /// \param use what takes an `Entry`
    /// \param otherwise the result where nothing is known
    template <class Use, class Result>
    Result WithKnown(const SampleView& sample, Use use, Result otherwise) const {
        const std::uint64_t word = bound.load(std::memory_order_relaxed);
        return word >> numberShift == sample.NumberIfWhole() ? use(EntryOf(word)) : otherwise;
    }

  private:
    static Entry EntryOf(std::uint64_t word) {
        return {static_cast<unsigned short>(word >> typeBits),
                static_cast<BaseType>(word & typeMask)};
    }

    static constexpr unsigned int typeBits = 4;
    static constexpr unsigned int typeMask = (1U << typeBits) - 1;
    static constexpr unsigned int numberShift = 16 + typeBits;

    template <class Keep>
    std::uint64_t Bind(const SampleView& sample, const std::string& name, Keep keep) const {
        const StreamType* const type = sample.Type();
        const bool exists = type != nullptr && type->EntryExists(name);
        const unsigned short id = exists ? type->EntryId(name) : StreamType::invalidEntryId;
        const BaseType declared = exists ? type->GetType(id) : UnknownType;
        const unsigned int kept = exists ? keep(declared) : UnknownType;
        const std::uint64_t word =
            sample.LayoutNumber() << numberShift | std::uint64_t{id} << typeBits | kept;
        bound.store(word, std::memory_order_relaxed);
        return word;
    }

    /// No type's number is 0, which a sample without type has: it has no entries.
    mutable std::atomic<std::uint64_t> bound{0};
};

}  // namespace velmora::core::tessaryn
