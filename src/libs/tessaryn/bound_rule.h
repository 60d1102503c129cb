// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/bound_instruction.h"
#include "tessaryn/entry_keys.h"
#include "tessaryn/rule_compiler.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/subscription_args.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>

namespace velmora::core::tessaryn {

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
    /// The same, but faster if other rules have already read the same entries.
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

    // Values for rules with other instructions, without and with calls; no entry has these bits.
    static constexpr std::uint32_t noKeys = std::uint32_t{1} << EntryKeys::maxEntries;
    static constexpr std::uint32_t calls = noKeys | 1U;

    struct FreeCode {
        void operator()(BoundInstruction* first) const { ::operator delete(first); }
    };

    // Followed by the texts of the instructions, and the trailer.
    std::unique_ptr<BoundInstruction[], FreeCode> code;
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
