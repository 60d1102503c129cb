// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

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
    /// Whether a change passes the instruction.
    using Passes = bool (*)(const BoundInstruction&, const SampleView&, const SubscriptionArgs&);
    using Target = Instruction::Target;

    /// Chosen for test and operator.
    Passes passes = nullptr;
    /// The bits of a number, those of integers and `Bool` extended to 64, those of a `Float` as a
    /// `Double`. Of a text the distance from the instruction to its bytes; of a range both indexes,
    /// `from` in the low half; of a fallback the address of the expression; of a call the place of
    /// the block, and in the high half that of its verdict.
    std::uint64_t literal = 0;
    Target onTrue = Instruction::holds;
    Target onFalse = Instruction::fails;
    unsigned short entry = 0;
    Test test = Test::constant;
    Operator comparison = Operator::equal;
    /// Of a text its size; of `size` the value type of the entry; of `changeType` the type.
    std::uint32_t extra = 0;

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

    const BoundInstruction* Code() const { return code.get(); }
    std::size_t NumInstructions() const { return numInstructions; }
    /// Whether one of the instructions is a `call`.
    bool HasCalls() const { return hasCalls; }
    std::string_view Trailer() const;

  private:
    class Evaluation;
    class Binder;

    bool HoldsWithBlocks(const SampleView& sample, const SubscriptionArgs& args) const;

    std::unique_ptr<BoundInstruction[]> code;
    std::uint32_t numInstructions = 0;
    std::uint32_t textBytes = 0;
    std::uint32_t trailerBytes = 0;
    std::uint32_t numVerdicts : 31 = 0;
    std::uint32_t hasCalls : 1 = 0;
};

inline bool BoundRule::Holds(const SampleView& sample, const SubscriptionArgs& args) const {
    if (hasCalls) [[unlikely]] {
        return HoldsWithBlocks(sample, args);
    }
    const BoundInstruction* instruction = code.get();
    // Most rules end at the first or second instruction. A call of its own for the first one is
    // easier to predict, and so is a branch for each outcome.
    BoundInstruction::Target target;
    if (instruction->passes(*instruction, sample, args)) {
        target = instruction->onTrue;
    } else {
        target = instruction->onFalse;
    }
    while (target > 0) {
        instruction += target;
        if (instruction->passes(*instruction, sample, args)) {
            target = instruction->onTrue;
        } else {
            target = instruction->onFalse;
        }
    }
    return target == Instruction::holds;
}

}  // namespace velmora::core::tessaryn
