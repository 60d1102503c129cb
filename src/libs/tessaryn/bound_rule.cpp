// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/bound_rule.h"

#include "tessaryn/number_key.h"
#include "tessaryn/rule_steps.h"

#include <algorithm>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace velmora::core::tessaryn {

using Opcode = Instruction::Opcode;
using Test = BoundInstruction::Test;
using Place = CompiledRule::Place;
using Target = BoundInstruction::Target;

// ---- Binding ----

namespace {

// The key of a literal for comparisons with a number type.
std::uint64_t LiteralKeyOf(const ConvertedLiteral& literal, BaseType type) {
    return VisitType(type, [&]<class Native>(std::type_identity<Native> /*type*/) -> std::uint64_t {
        if constexpr (std::is_arithmetic_v<Native>) {
            return KeyOf(static_cast<Wide<Native>>(literal.As<NumberOf<Native>>()));
        } else {
            return 0;
        }
    });
}

// The outcomes that an operator accepts, as bits.
std::uint32_t AcceptedOutcomes(BoundInstruction::Operator comparison) {
    using Operator = BoundInstruction::Operator;
    constexpr std::uint32_t greater = 1U << BoundInstruction::KeyOutcome(1, 0);
    constexpr std::uint32_t less = 1U << BoundInstruction::KeyOutcome(0, 1);
    constexpr std::uint32_t equal = 1U << BoundInstruction::KeyOutcome(0, 0);
    switch (comparison) {
        case Operator::equal:
            return equal;
        case Operator::notEqual:
            return less | greater;
        case Operator::less:
            return less;
        case Operator::lessOrEqual:
            return less | equal;
        case Operator::greater:
            return greater;
        case Operator::greaterOrEqual:
            break;
    }
    return greater | equal;
}

}  // namespace

class BoundRule::Binder {
  public:
    Binder(const CompiledRule& rule, const StreamType* type) : rule(rule), type(type) {
        std::uint32_t slot = 0;
        for (const Instruction& instruction : rule.code) {
            slots.push_back(slot);
            slot += instruction.opcode == Opcode::CompareRange ? 2 : 1;
            if (BoundTypeOf(instruction) == String) {
                textBytes += static_cast<std::uint32_t>(instruction.text.size());
            }
        }
        slots.push_back(slot);
    }

    std::uint32_t NumInstructions() const { return std::max(slots.back(), 1U); }
    std::uint32_t TextBytes() const { return textBytes; }

    void BindTo(BoundInstruction* instructions) {
        nextText = reinterpret_cast<char*>(instructions + NumInstructions());
        if (rule.start < 0) {
            instructions->literal = rule.start == CompiledRule::holds ? 1 : 0;
            instructions->step = StepOf(*instructions);
            return;
        }
        for (std::size_t i = 0; i < rule.code.size(); ++i) {
            BoundInstruction* const bound = instructions + slots[i];
            Bind(rule.code[i], *bound);
            bound->onTrue = TargetOf(i, rule.code[i].onTrue);
            bound->onFalse = TargetOf(i, rule.code[i].onFalse);
            bound->step = StepOf(*bound);
        }
    }

    // The entries of a rule that compares single numbers only; `noKeys` for another one.
    std::uint32_t KeyedEntries(const BoundInstruction* instructions) const {
        std::uint32_t keyed = 0;
        for (std::uint32_t i = 0; i < NumInstructions(); ++i) {
            const BoundInstruction& each = instructions[i];
            if (each.test >= Test::text || each.entry >= EntryKeys::maxEntries ||
                !BeginsAsOneElement(each)) {
                return noKeys;
            }
            keyed |= 1U << each.entry;
        }
        return keyed;
    }

  private:
    // The entry's declared type; `UnknownType` where there is none.
    BaseType TypeOf(const Instruction& instruction) const {
        return EntryExists(instruction) ? type->GetType(type->EntryId(instruction.entryName))
                                        : UnknownType;
    }

    bool EntryExists(const Instruction& instruction) const {
        return type != nullptr && type->EntryExists(instruction.entryName);
    }

    // The type that the elements are compared as; `UnknownType` where no comparison holds.
    BaseType BoundTypeOf(const Instruction& instruction) const {
        const bool compares =
            instruction.opcode == Opcode::Compare || instruction.opcode == Opcode::CompareRange;
        const BaseType declared = compares ? TypeOf(instruction) : UnknownType;
        return instruction.literal.IsConvertibleTo(declared) ? declared : UnknownType;
    }

    bool BeginsAsOneElement(const BoundInstruction& bound) const {
        const unsigned short next = static_cast<unsigned short>(bound.entry + 1);
        return type->GetMemoryOffset(next) - type->GetMemoryOffset(bound.entry) ==
               traits::ElementSize(static_cast<BaseType>(bound.test));
    }

    BoundInstruction::Target TargetOf(std::size_t from, Instruction::Target target) const {
        if (target <= 0) {
            return target;
        }
        const auto to = from + static_cast<std::size_t>(target);
        return static_cast<BoundInstruction::Target>(slots[to] - slots[from]);
    }

    void Bind(const Instruction& instruction, BoundInstruction& bound) {
        bound.comparison = instruction.comparison;
        bound.entry = EntryExists(instruction) ? type->EntryId(instruction.entryName) : bound.entry;
        switch (instruction.opcode) {
            case Opcode::Compare:
                return BindElements(instruction, bound);
            case Opcode::CompareRange:
                bound.test = Test::range;
                bound.literal = static_cast<std::uint32_t>(instruction.from) |
                                std::uint64_t{static_cast<std::uint32_t>(instruction.to)} << 32U;
                (&bound)[1].comparison = bound.comparison;
                return BindElements(instruction, (&bound)[1]);
            case Opcode::CompareSize:
                if (EntryExists(instruction) && instruction.literal.IsConvertibleTo(UInt32)) {
                    bound.test = Test::size;
                    bound.literal = instruction.literal.As<unsigned int>();
                    bound.extra = TypeOf(instruction);
                }
                return;
            case Opcode::Exists:
                bound.literal = EntryExists(instruction) ? 1 : 0;
                return;
            case Opcode::ChangeType:
                bound.test = Test::changeType;
                bound.extra = instruction.changeType;
                return;
            case Opcode::Fallback:
                bound.test = Test::fallback;
                bound.literal = reinterpret_cast<std::uintptr_t>(instruction.expression);
                return;
            case Opcode::Call:
                BindCall(rule.blocks[instruction.block], bound);
        }
    }

    void BindElements(const Instruction& instruction, BoundInstruction& bound) {
        const BaseType elements = BoundTypeOf(instruction);
        if (elements == UnknownType) {
            return;
        }
        bound.test = static_cast<Test>(elements);
        bound.literal = LiteralKeyOf(instruction.literal, elements);
        // With NaN no comparison holds but "!=".
        const bool isNaN = IsKeyOfNaN(bound.literal, elements);
        bound.extra = isNaN && bound.comparison != BoundInstruction::Operator::notEqual
                          ? 0
                          : AcceptedOutcomes(bound.comparison);
        if (elements == String) {
            const std::string& text = instruction.text;
            bound.literal = static_cast<std::uint64_t>(nextText - reinterpret_cast<char*>(&bound));
            bound.extra = static_cast<std::uint32_t>(text.size());
            nextText = std::copy(text.begin(), text.end(), nextText);
        }
    }

    void BindCall(const CompiledRule::Block& block, BoundInstruction& bound) const {
        bound.test = Test::call;
        const Place start = block.start < 0
                                ? block.start
                                : static_cast<Place>(slots[static_cast<std::size_t>(block.start)]);
        bound.literal = static_cast<std::uint32_t>(start) | std::uint64_t{block.verdict} << 32U;
    }

    const CompiledRule& rule;
    const StreamType* type;
    // Where each instruction begins in the bound code, and the end.
    std::vector<std::uint32_t> slots;
    std::uint32_t textBytes = 0;
    char* nextText = nullptr;
};

BoundRule::BoundRule(const CompiledRule& rule, const StreamType* type, std::string_view trailer)
    : numVerdicts(rule.numVerdicts & 0x7FFFFFFFU), hasCalls(rule.blocks.empty() ? 0 : 1) {
    Binder binder(rule, type);
    const std::size_t codeBytes = binder.NumInstructions() * sizeof(BoundInstruction);
    trailerBegin = static_cast<std::uint32_t>(codeBytes + binder.TextBytes());
    trailerSize = static_cast<std::uint32_t>(trailer.size());
    const std::size_t bytes = std::size_t{trailerBegin} + trailerSize;
    // In as many bytes as are needed: there may be many rules.
    code.reset(static_cast<BoundInstruction*>(::operator new(bytes)));
    std::uninitialized_default_construct_n(code.get(), binder.NumInstructions());
    binder.BindTo(code.get());
    keyedEntries = hasCalls ? calls : binder.KeyedEntries(code.get());
    std::copy(trailer.begin(), trailer.end(), reinterpret_cast<char*>(code.get()) + trailerBegin);
}

std::string_view BoundRule::Trailer() const {
    return {reinterpret_cast<const char*>(code.get()) + trailerBegin, trailerSize};
}

// ---- Evaluation ----

// One evaluation of a rule that has blocks.
class BoundRule::Evaluation {
  public:
    Evaluation(const BoundRule& rule, const SampleView& sample, const SubscriptionArgs& args)
        : rule(rule), sample(sample), args(args), verdicts(rule.numVerdicts) {}

    bool Run(Place start) {
        if (start < 0) {
            return start == CompiledRule::holds;
        }
        const BoundInstruction* instruction = rule.code.get() + start;
        while (true) {
            const Target target = instruction->test == Test::call
                                      ? TargetOf(*instruction, Call(*instruction))
                                      : instruction->step(*instruction, sample, args);
            if (target <= 0) {
                return target == Instruction::holds;
            }
            instruction += target;
        }
    }

  private:
    bool Call(const BoundInstruction& call) {
        const auto start = static_cast<Place>(static_cast<std::uint32_t>(call.literal));
        const auto number = static_cast<std::uint32_t>(call.literal >> 32U);
        if (number == CompiledRule::none) {
            return Run(start);
        }
        std::optional<bool>& verdict = verdicts[number];
        if (!verdict) {
            verdict = Run(start);
        }
        return *verdict;
    }

    const BoundRule& rule;
    const SampleView& sample;
    const SubscriptionArgs& args;
    // Empty, and therefore not allocated, if the tree shares no part.
    std::vector<std::optional<bool>> verdicts;
};

bool BoundRule::HoldsByNewKeys(EntryKeys& keys, const SampleView& sample,
                               const SubscriptionArgs& args) const {
    return keyedEntries != calls && keys.Read(keyedEntries, sample) ? HoldsByKeys(keys)
                                                                    : Holds(sample, args);
}

bool BoundRule::HoldsWithBlocks(const SampleView& sample, const SubscriptionArgs& args) const {
    return Evaluation(*this, sample, args).Run(0);
}

}  // namespace velmora::core::tessaryn
