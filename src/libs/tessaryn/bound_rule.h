// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/entry_keys.h"
#include "tessaryn/rule_compiler.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/subscription_args.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace velmora::core::tessaryn {

/// One test of a rule that is bound to a stream type: the entry's id and value type are known, and
/// the literal is of that type.
struct BoundInstruction {
    /// The numbers up to `String` are value types: every element of the entry passes.
    enum class Test : unsigned char {
        text = String,  ///< the text passes, which has a character at least
        size,           ///< the number of elements passes
        range,          ///< a range of elements passes, as the instruction that follows says
        changeType,     ///< the change is of a kind
        constant,       ///< true if `literal` is not 0
        fallback,       ///< the value of a part of the tree converts to true
        call            ///< another block of the program holds
    };

    using Operator = Instruction::Operator;
    using Target = Instruction::Target;
    /// Tests a change, and returns how many instructions further the rule goes on, or the verdict.
    using Step = Target (*)(const BoundInstruction&, const SampleView&, const SubscriptionArgs&);

    /// Chosen for the test and the operator, and for what comes next. Not of a `call`.
    Step step = nullptr;
    /// The key of a number. Of a text the distance from the instruction to its bytes; of a range
    /// both indexes, `from` in the low half; of a fallback the address of the expression; of a call
    /// the place of the block, and in the high half that of its verdict.
    std::uint64_t literal = 0;
    Target onTrue = Instruction::holds;
    Target onFalse = Instruction::fails;
    unsigned short entry = 0;
    Test test = Test::constant;
    Operator comparison = Operator::equal;
    /// Of a number the outcomes that pass, as bits by `KeyOutcome`; of a text its size; of `size`
    /// the value type of the entry; of `changeType` the type.
    std::uint32_t extra = 0;

    /// Whether an entry of a single number passes.
    bool Passes(std::uint64_t key) const { return ((extra >> KeyOutcome(key, literal)) & 1U) != 0; }
    /// 0 for a key that is greater than the literal's, 1 for one that is less, 2 for an equal one.
    static constexpr unsigned int KeyOutcome(std::uint64_t key, std::uint64_t literal) {
        return (key < literal ? 1U : 0U) + (key == literal ? 2U : 0U);
    }

    std::string_view Text() const { return {reinterpret_cast<const char*>(this) + literal, extra}; }
    /// The bytes of the elements in the instruction's range; none where the range is empty. Every
    /// element of a text is the entire text.
    std::string_view ElementsOf(std::string_view bytes, Test type) const;
};

static_assert(sizeof(BoundInstruction) == 32);

/// A compiled rule whose names are bound to the entries of one state of a stream type: the form in
/// which changes are tested.
///
/// All of it is one block: the instructions, the texts of literals, and bytes of the owner's.
///
/// \threadsafety immutable
class BoundRule {
  public:
    /// \param rule must outlive the bound one if it has a `Fallback`
    /// \param type null for one without entries
    /// \param trailer bytes of the owner's, given back by `Trailer`
    BoundRule(const CompiledRule& rule, const StreamType* type, std::string_view trailer = {});

    /// Whether the rule holds for a change.
    /// \param sample complete, and of the type in the state that the rule is bound to
    /// \throws what the evaluation of a `Fallback` throws
    bool Holds(const SampleView& sample, const SubscriptionArgs& args) const;
    /// The same, faster where other rules have asked for the same entries.
    /// \param keys of the sample
    bool Holds(EntryKeys& keys, const SampleView& sample, const SubscriptionArgs& args) const;

    const BoundInstruction* Code() const { return code.get(); }
    std::string_view Trailer() const;

  private:
    class Evaluation;
    class Binder;

    bool HoldsWithBlocks(const SampleView& sample, const SubscriptionArgs& args) const;

    bool HoldsByEntries(const SampleView& sample, const SubscriptionArgs& args) const;
    bool HoldsByKeys(const EntryKeys& keys) const;
    bool HoldsByNewKeys(EntryKeys& keys, const SampleView& sample,
                        const SubscriptionArgs& args) const;

    // Instructions of other kinds, and such with calls among them: no entries, as none has the bit.
    static constexpr std::uint32_t noKeys = std::uint32_t{1} << EntryKeys::maxEntries;
    static constexpr std::uint32_t calls = noKeys | 1U;

    std::unique_ptr<BoundInstruction[]> code;
    // In bytes.
    std::uint32_t trailerBegin = 0;
    std::uint32_t trailerSize = 0;
    // A bit for each entry if the rule is about single numbers only; else `noKeys` or `calls`.
    std::uint32_t keyedEntries = noKeys;
    std::uint32_t numVerdicts : 31 = 0;
    std::uint32_t hasCalls : 1 = 0;
};

inline bool BoundRule::Holds(const SampleView& sample, const SubscriptionArgs& args) const {
    return hasCalls ? HoldsWithBlocks(sample, args) : HoldsByEntries(sample, args);
}

inline bool BoundRule::Holds(EntryKeys& keys, const SampleView& sample,
                             const SubscriptionArgs& args) const {
    if (keyedEntries == noKeys) {
        return HoldsByEntries(sample, args);
    }
    if ((keyedEntries & ~keys.Known()) == 0) [[likely]] {
        return HoldsByKeys(keys);
    }
    return HoldsByNewKeys(keys, sample, args);
}

inline bool BoundRule::HoldsByEntries(const SampleView& sample,
                                      const SubscriptionArgs& args) const {
    const BoundInstruction* instruction = code.get();
    BoundInstruction::Target target = instruction->step(*instruction, sample, args);
    while (target > 0)
        [[unlikely]] {
            instruction += target;
            target = instruction->step(*instruction, sample, args);
        }
    return target == Instruction::holds;
}

inline bool BoundRule::HoldsByKeys(const EntryKeys& keys) const {
    const BoundInstruction* instruction = code.get();
    while (true) {
        const bool passes = instruction->Passes(keys[instruction->entry]);
        const auto target = passes ? instruction->onTrue : instruction->onFalse;
        if (target <= 0) {
            return target == Instruction::holds;
        }
        instruction += target;
    }
}

}  // namespace velmora::core::tessaryn
