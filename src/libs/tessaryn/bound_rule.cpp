// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/bound_rule.h"

#include "tessaryn/private/subscription_rule_expressions.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace velmora::core::tessaryn {

using Opcode = Instruction::Opcode;
using Test = BoundInstruction::Test;
using Place = CompiledRule::Place;

namespace {

// ---- Comparing the bytes of an entry ----

// The character of an `Int8` is a number with a sign.
template <class Native>
using NumberOf = std::conditional_t<std::is_same_v<Native, char>, signed char, Native>;

template <class Number>
Number LiteralOf(const BoundInstruction& instruction) {
    if constexpr (std::is_floating_point_v<Number>) {
        return static_cast<Number>(traits::Load<double>(&instruction.literal));
    } else {
        return static_cast<Number>(instruction.literal);
    }
}

// Elements are compared in blocks without a branch between them, which the compiler turns into
// vector instructions.
template <class Number, class Operator>
bool AllPass(std::string_view bytes, Number literal) {
    constexpr Operator passes;
    constexpr std::size_t block = 32;
    const char* data = bytes.data();
    std::size_t count = bytes.size() / sizeof(Number);
    if (count == 0) {
        return false;
    }
    for (; count >= block; count -= block, data += block * sizeof(Number)) {
        bool pass = true;
        for (std::size_t i = 0; i < block; ++i) {
            pass &= passes(traits::Load<Number>(data + i * sizeof(Number)), literal);
        }
        if (!pass) {
            return false;
        }
    }
    for (; count > 0; --count, data += sizeof(Number)) {
        if (!passes(traits::Load<Number>(data), literal)) {
            return false;
        }
    }
    return true;
}

// Whether the bytes hold an element and each passes.
template <class Native, class Operator>
bool ElementsPass(const BoundInstruction& instruction, std::string_view bytes) {
    constexpr Operator passes;
    if constexpr (std::is_same_v<Native, std::string>) {
        // Every element of a text is the entire text.
        return !bytes.empty() && passes(bytes, instruction.Text());
    } else {
        using Number = NumberOf<Native>;
        const auto literal = LiteralOf<Number>(instruction);
        if (bytes.size() == sizeof(Number)) [[likely]] {
            return passes(traits::Load<Number>(bytes.data()), literal);
        }
        return AllPass<Number, Operator>(bytes, literal);
    }
}

using Comparison = bool (*)(const BoundInstruction&, std::string_view bytes);

// Both by operator.
template <class Native>
constexpr std::array<Comparison, 6> comparisonsOf = {
    ElementsPass<Native, std::equal_to<>>, ElementsPass<Native, std::not_equal_to<>>,
    ElementsPass<Native, std::less<>>,     ElementsPass<Native, std::less_equal<>>,
    ElementsPass<Native, std::greater<>>,  ElementsPass<Native, std::greater_equal<>>};

template <class Native, class Operator>
bool TestEntry(const BoundInstruction& instruction, const SampleView& sample,
               const SubscriptionArgs& /*args*/) {
    return ElementsPass<Native, Operator>(instruction, sample.BytesOfExisting(instruction.entry));
}

template <class Native>
constexpr std::array<BoundInstruction::Passes, 6> entryTestsOf = {
    TestEntry<Native, std::equal_to<>>, TestEntry<Native, std::not_equal_to<>>,
    TestEntry<Native, std::less<>>,     TestEntry<Native, std::less_equal<>>,
    TestEntry<Native, std::greater<>>,  TestEntry<Native, std::greater_equal<>>};

Comparison ComparisonOf(BaseType type, const BoundInstruction& instruction) {
    return VisitType(type, [&]<class Native>(std::type_identity<Native> /*type*/) -> Comparison {
        if constexpr (std::is_void_v<Native>) {
            return nullptr;
        } else {
            return comparisonsOf<Native>[static_cast<std::size_t>(instruction.comparison)];
        }
    });
}

// ---- Tests ----

// Both by operator.
template <class Operator>
bool TestSize(const BoundInstruction& instruction, const SampleView& sample,
              const SubscriptionArgs& /*args*/) {
    constexpr Operator passes;
    const std::size_t bytes = sample.BytesOfExisting(instruction.entry).size();
    const std::size_t size = traits::ElementCount(static_cast<BaseType>(instruction.extra), bytes);
    return passes(size, std::size_t{instruction.literal});
}

constexpr std::array<BoundInstruction::Passes, 6> sizeTests = {
    TestSize<std::equal_to<>>,   TestSize<std::not_equal_to<>>, TestSize<std::less<>>,
    TestSize<std::less_equal<>>, TestSize<std::greater<>>,      TestSize<std::greater_equal<>>};

// A range of one element.
template <class Native, class Operator>
bool TestElement(const BoundInstruction& range, const SampleView& sample,
                 const SubscriptionArgs& /*args*/) {
    using Number = NumberOf<Native>;
    constexpr Operator passes;
    const std::string_view bytes = sample.BytesOfExisting(range.entry);
    const std::size_t begin = static_cast<std::uint32_t>(range.literal) * sizeof(Number);
    return begin + sizeof(Number) <= bytes.size() &&
           passes(traits::Load<Number>(bytes.data() + begin), LiteralOf<Number>((&range)[1]));
}

template <class Native>
constexpr std::array<BoundInstruction::Passes, 6> elementTestsOf = {
    TestElement<Native, std::equal_to<>>, TestElement<Native, std::not_equal_to<>>,
    TestElement<Native, std::less<>>,     TestElement<Native, std::less_equal<>>,
    TestElement<Native, std::greater<>>,  TestElement<Native, std::greater_equal<>>};

bool TestRange(const BoundInstruction& range, const SampleView& sample,
               const SubscriptionArgs& /*args*/) {
    const BoundInstruction& elements = (&range)[1];
    const Comparison compare = ComparisonOf(static_cast<BaseType>(elements.test), elements);
    // Without one, there may be no such entry.
    return compare != nullptr &&
           compare(elements, range.ElementsOf(sample.BytesOfExisting(range.entry), elements.test));
}

bool TestChangeType(const BoundInstruction& instruction, const SampleView& /*sample*/,
                    const SubscriptionArgs& args) {
    return static_cast<std::uint32_t>(args.changeType) == instruction.extra;
}

bool TestConstant(const BoundInstruction& instruction, const SampleView& /*sample*/,
                  const SubscriptionArgs& /*args*/) {
    return instruction.literal != 0;
}

bool TestFallback(const BoundInstruction& instruction, const SampleView& /*sample*/,
                  const SubscriptionArgs& args) {
    // A literal holds the pointer, as the field is for all instructions.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto* const expression = reinterpret_cast<const RLExpr*>(instruction.literal);
    return valueOf(expression, args).convert<bool>();
}

BoundInstruction::Passes PassesOf(const BoundInstruction& instruction) {
    const auto comparison = static_cast<std::size_t>(instruction.comparison);
    const bool isRange = instruction.test == Test::range;
    const std::uint64_t to = instruction.literal >> 32U;
    const bool isElement =
        isRange && to < 1U << 31U && to == static_cast<std::uint32_t>(instruction.literal);
    switch (instruction.test) {
        case Test::size:
            return sizeTests[comparison];
        case Test::changeType:
            return TestChangeType;
        case Test::fallback:
            return TestFallback;
        case Test::constant:
        case Test::call:
            return TestConstant;
        default:
            break;
    }
    const Test elements = isRange ? (&instruction)[1].test : instruction.test;
    return VisitType(static_cast<BaseType>(elements),
                     [&]<class Native>(std::type_identity<Native> /*type*/) {
                         if constexpr (std::is_void_v<Native>) {
                             return BoundInstruction::Passes{TestRange};
                         } else if constexpr (std::is_same_v<Native, std::string>) {
                             return isRange ? TestRange : entryTestsOf<Native>[comparison];
                         } else {
                             return isElement ? elementTestsOf<Native>[comparison]
                                    : isRange ? TestRange
                                              : entryTestsOf<Native>[comparison];
                         }
                     });
}

}  // namespace

std::string_view BoundInstruction::ElementsOf(std::string_view bytes, Test type) const {
    const auto elementType = static_cast<BaseType>(type);
    const auto last = static_cast<long long>(traits::ElementCount(elementType, bytes.size())) - 1;
    const auto from = std::max(static_cast<int>(static_cast<std::uint32_t>(literal)), 0);
    const auto writtenTo = static_cast<int>(literal >> 32U);
    const long long to = writtenTo < 0 ? last : std::min<long long>(writtenTo, last);
    if (from > to) {
        return {};
    }
    const std::size_t size = traits::ElementSize(elementType);
    return type == Test::text ? bytes
                              : bytes.substr(static_cast<std::size_t>(from) * size,
                                             static_cast<std::size_t>(to - from + 1) * size);
}

// ---- Binding ----

namespace {

// The bits of a literal for comparisons with a number type.
std::uint64_t BitsOf(const ConvertedLiteral& literal, BaseType type) {
    return VisitType(type, [&]<class Native>(std::type_identity<Native> /*type*/) -> std::uint64_t {
        if constexpr (std::is_void_v<Native> || std::is_same_v<Native, std::string>) {
            return 0;
        } else if constexpr (std::is_floating_point_v<Native>) {
            const double wide = literal.As<Native>();
            return traits::Load<std::uint64_t>(&wide);
        } else {
            // The sign is meant to extend.
            return static_cast<std::uint64_t>(literal.As<NumberOf<Native>>());
        }
    });
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
            instructions->passes = TestConstant;
            return;
        }
        for (std::size_t i = 0; i < rule.code.size(); ++i) {
            BoundInstruction* const bound = instructions + slots[i];
            Bind(rule.code[i], *bound);
            bound->onTrue = TargetOf(i, rule.code[i].onTrue);
            bound->onFalse = TargetOf(i, rule.code[i].onFalse);
            bound->passes = PassesOf(*bound);
        }
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
        bound.literal = BitsOf(instruction.literal, elements);
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
    numInstructions = binder.NumInstructions();
    textBytes = binder.TextBytes();
    trailerBytes = static_cast<std::uint32_t>(trailer.size());
    const std::size_t bytes = std::size_t{textBytes} + trailerBytes;
    const std::size_t units = (bytes + sizeof(BoundInstruction) - 1) / sizeof(BoundInstruction);
    code = std::make_unique<BoundInstruction[]>(numInstructions + units);
    binder.BindTo(code.get());
    char* const end = reinterpret_cast<char*>(code.get() + numInstructions) + textBytes;
    std::copy(trailer.begin(), trailer.end(), end);
}

std::string_view BoundRule::Trailer() const {
    return {reinterpret_cast<const char*>(code.get() + numInstructions) + textBytes, trailerBytes};
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
            const bool passes = instruction->test == Test::call
                                    ? Call(*instruction)
                                    : instruction->passes(*instruction, sample, args);
            const auto target = passes ? instruction->onTrue : instruction->onFalse;
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
    // Empty, and so not allocated, where the tree shares no part.
    std::vector<std::optional<bool>> verdicts;
};

bool BoundRule::HoldsWithBlocks(const SampleView& sample, const SubscriptionArgs& args) const {
    return Evaluation(*this, sample, args).Run(0);
}

}  // namespace velmora::core::tessaryn
