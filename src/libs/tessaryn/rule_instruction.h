// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/converted_literal.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/subscription_args.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace velmora::core::tessaryn {

class RLExpr;

/// A value that threads share without an order between their accesses to others. A copy holds the
/// value of the moment.
template <class T>
class Relaxed {
  public:
    explicit Relaxed(T value) : shared(value) {}
    Relaxed(const Relaxed& other) : shared(other.Load()) {}
    Relaxed& operator=(const Relaxed& other) {
        Store(other.Load());
        return *this;
    }

    T Load() const { return shared.load(std::memory_order_relaxed); }
    void Store(T value) const { shared.store(value, std::memory_order_relaxed); }

  private:
    mutable std::atomic<T> shared;
};

/// What an entry's name stands for in one state of one stream type. All of it is one word, so that
/// a thread reads either all of what another has bound or none.
class EntryBinding {
  public:
    /// Beside the value types, what a name may stand for.
    enum Special : unsigned char {
        otherType = 13,  ///< an entry whose declared type is above 12
        missing = 14,    ///< no entry
        neverPasses =
            15,  ///< to a comparison: no entry, or one that its literal does not convert to
    };

    /// In no type: a missing entry. A sample that was moved from has the same layout number, 0.
    EntryBinding() : EntryBinding(0, missing, StreamType::invalidEntryId) {}
    /// \param layoutNumber of the state of the type
    /// \param type a value type or a `Special`
    /// \param id the entry's id
    EntryBinding(std::uint64_t layoutNumber, unsigned int type, unsigned short id)
        : word((layoutNumber << typeBits | type) << idBits | id) {}

    std::uint64_t LayoutNumber() const { return word >> (typeBits + idBits); }
    unsigned int Type() const { return static_cast<unsigned int>(word >> idBits) & typeMask; }
    unsigned short Id() const { return static_cast<unsigned short>(word); }

    /// The id, if it is bound as the type in the complete sample's type; else a larger number.
    std::uint64_t IdIn(const SampleView& sample, unsigned int type) const {
        return word - (sample.AlignedCompleteNumber() | std::uint64_t{type} << idBits);
    }
    static constexpr std::uint64_t maxId = StreamType::invalidEntryId;

  private:
    static constexpr unsigned int idBits = 16;
    static constexpr unsigned int typeBits = 4;
    static constexpr unsigned int typeMask = (1U << typeBits) - 1;
    static_assert(StreamType::layoutNumberBits + typeBits + idBits == 64);
    static_assert(traits::lastType < otherType && neverPasses <= typeMask);

    std::uint64_t word;
};

/// What an instruction needs rarely: to bind it, to compare texts and to evaluate a part of the
/// tree.
struct Operands {
    const RLExpr* expression = nullptr;
    std::string entryName = {};
    int from = 0;
    int to = 0;
    /// The literal, where it converts to a text.
    std::string text = {};
    /// Where the entry was in the type before the present one: a rule may be subscribed to streams
    /// of two types in turn.
    Relaxed<EntryBinding> previousBinding{EntryBinding()};
};

/// One test of a change, and where the program goes on after it. Fills a cache line, since a push
/// reads hundreds of them.
struct alignas(64) Instruction {
    enum class Opcode : unsigned char {
        Compare,       ///< every element of an entry passes the comparison with the literal
        CompareRange,  ///< every one of a range of elements does
        CompareSize,   ///< the number of elements does
        Exists,        ///< the sample's type has the entry
        ChangeType,    ///< the change is of a kind
        Fallback,      ///< the value of a part of the tree converts to true
        Call           ///< another block of the program holds
    };

    enum class Operator : unsigned char {
        equal,
        notEqual,
        less,
        lessOrEqual,
        greater,
        greaterOrEqual
    };

    /// How many instructions further the program goes on, or one of the verdicts below.
    using Target = std::int32_t;
    static constexpr Target fails = 0;
    static constexpr Target holds = -1;

    /// Whether the change passes the instruction.
    using Test = bool (*)(const Instruction&, const SampleView&, const SubscriptionArgs&);

    Instruction(Opcode opcode, const Operands& operands);

    /// Of `Compare`, chosen for the type that the entry was bound in; fixed for each other opcode,
    /// and null for `Call`.
    Relaxed<Test> test;
    Relaxed<EntryBinding> binding{EntryBinding()};
    ConvertedLiteral literal;
    const Operands* operands;
    Target onTrue = holds;
    Target onFalse = fails;
    Opcode opcode;
    Operator comparison = Operator::equal;
    StreamChangeType changeType = pushed;
    /// Index of the block that `Call` refers to.
    std::uint32_t block = 0;
};

static_assert(sizeof(Instruction) == 64);

}  // namespace velmora::core::tessaryn
