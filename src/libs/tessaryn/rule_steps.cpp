// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_steps.h"

#include "tessaryn/number_key.h"
#include "tessaryn/private/subscription_rule_expressions.h"

#include <array>
#include <functional>
#include <string>

namespace velmora::core::tessaryn {

using Test = BoundInstruction::Test;
using Target = BoundInstruction::Target;

namespace {

// ---- Comparing the bytes of an entry ----

// Elements are compared in blocks without a branch between them, which the compiler turns into
// vector instructions.
template <class Number, class Operator>
bool AllPass(std::string_view bytes, Number literal) {
    constexpr Operator passes;
    constexpr std::size_t block = 32;
    const char* data = bytes.data();
    std::size_t count = bytes.size() / sizeof(Number);
    // Most rules fail, and most of them at once.
    if (count == 0 || !passes(traits::Load<Number>(data), literal)) {
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

template <class Native, class Operator>
bool Passes(const BoundInstruction& instruction, std::string_view bytes) {
    constexpr Operator passes;
    if constexpr (std::is_same_v<Native, std::string>) {
        // Every element of a text is the entire text.
        return !bytes.empty() && passes(bytes, instruction.Text());
    } else {
        using Number = NumberOf<Native>;
        const auto literal = NumberOfKey<Number>(instruction.literal);
        if (bytes.size() == sizeof(Number)) [[likely]] {
            return passes(traits::Load<Number>(bytes.data()), literal);
        }
        return AllPass<Number, Operator>(bytes, literal);
    }
}

// By operator.
using Comparison = bool (*)(const BoundInstruction&, std::string_view bytes);
template <class Native>
constexpr std::array<Comparison, 6> comparisons = {
    Passes<Native, std::equal_to<>>, Passes<Native, std::not_equal_to<>>,
    Passes<Native, std::less<>>,     Passes<Native, std::less_equal<>>,
    Passes<Native, std::greater<>>,  Passes<Native, std::greater_equal<>>};

// Whether the bytes hold an element and each passes.
bool ElementsPass(const BoundInstruction& instruction, std::string_view bytes) {
    const auto comparison = static_cast<std::size_t>(instruction.comparison);
    return VisitType(static_cast<BaseType>(instruction.test),
                     [&]<class Native>(std::type_identity<Native> /*type*/) {
                         if constexpr (std::is_void_v<Native>) {
                             return false;
                         } else {
                             return comparisons<Native>[comparison](instruction, bytes);
                         }
                     });
}

// ---- Steps ----

// More elements than any entry has.
constexpr unsigned int noElement = static_cast<unsigned int>(-1);

template <class Native, class Operator>
Target TestEntry(const BoundInstruction& instruction, const SampleView& sample,
                 const SubscriptionArgs& /*args*/) {
    const std::string_view bytes = sample.BytesOfExisting(instruction.entry);
    return TargetOf(instruction, Passes<Native, Operator>(instruction, bytes));
}

// A range of one element.
template <class Native, class Operator>
Target TestElement(const BoundInstruction& range, const SampleView& sample,
                   const SubscriptionArgs& /*args*/) {
    using Number = NumberOf<Native>;
    constexpr Operator passes;
    const std::string_view bytes = sample.BytesOfExisting(range.entry);
    const std::size_t begin = static_cast<std::uint32_t>(range.literal) * sizeof(Number);
    return TargetOf(range, begin + sizeof(Number) <= bytes.size() &&
                               passes(traits::Load<Number>(bytes.data() + begin),
                                      NumberOfKey<Number>((&range)[1].literal)));
}

template <class Native, class Operator>
Target TestElements(const BoundInstruction& range, const SampleView& sample,
                    const SubscriptionArgs& /*args*/) {
    using Number = NumberOf<Native>;
    const std::string_view bytes = sample.BytesOfExisting(range.entry);
    return TargetOf(range, AllPass<Number, Operator>(range.ElementsOf(bytes, sizeof(Number)),
                                                     NumberOfKey<Number>((&range)[1].literal)));
}

template <unsigned int size, class Operator>
Target TestSize(const BoundInstruction& instruction, const SampleView& sample,
                const SubscriptionArgs& /*args*/) {
    constexpr Operator passes;
    const std::size_t count = sample.BytesOfExisting(instruction.entry).size() / size;
    return TargetOf(instruction, passes(count, std::size_t{instruction.literal}));
}

// All by operator.
template <class Native>
constexpr std::array<BoundInstruction::Step, 6> entryTests = {
    TestEntry<Native, std::equal_to<>>, TestEntry<Native, std::not_equal_to<>>,
    TestEntry<Native, std::less<>>,     TestEntry<Native, std::less_equal<>>,
    TestEntry<Native, std::greater<>>,  TestEntry<Native, std::greater_equal<>>};

template <class Native>
constexpr std::array<BoundInstruction::Step, 6> elementTests = {
    TestElement<Native, std::equal_to<>>, TestElement<Native, std::not_equal_to<>>,
    TestElement<Native, std::less<>>,     TestElement<Native, std::less_equal<>>,
    TestElement<Native, std::greater<>>,  TestElement<Native, std::greater_equal<>>};

template <class Native>
constexpr std::array<BoundInstruction::Step, 6> rangeTests = {
    TestElements<Native, std::equal_to<>>, TestElements<Native, std::not_equal_to<>>,
    TestElements<Native, std::less<>>,     TestElements<Native, std::less_equal<>>,
    TestElements<Native, std::greater<>>,  TestElements<Native, std::greater_equal<>>};

template <unsigned int size>
constexpr std::array<BoundInstruction::Step, 6> sizeTests = {
    TestSize<size, std::equal_to<>>, TestSize<size, std::not_equal_to<>>,
    TestSize<size, std::less<>>,     TestSize<size, std::less_equal<>>,
    TestSize<size, std::greater<>>,  TestSize<size, std::greater_equal<>>};

// A range of a text.
Target TestRange(const BoundInstruction& range, const SampleView& sample,
                 const SubscriptionArgs& /*args*/) {
    const BoundInstruction& elements = (&range)[1];
    // If the type lacks the entry, there is nothing to compare.
    return TargetOf(range,
                    elements.test != Test::constant &&
                        ElementsPass(elements, range.ElementsOf(sample.BytesOfExisting(range.entry),
                                                                elements.test)));
}

Target TestChangeType(const BoundInstruction& instruction, const SampleView& /*sample*/,
                      const SubscriptionArgs& args) {
    return TargetOf(instruction, static_cast<std::uint32_t>(args.changeType) == instruction.extra);
}

Target TestConstant(const BoundInstruction& instruction, const SampleView& /*sample*/,
                    const SubscriptionArgs& /*args*/) {
    return TargetOf(instruction, instruction.literal != 0);
}

Target TestFallback(const BoundInstruction& instruction, const SampleView& /*sample*/,
                    const SubscriptionArgs& args) {
    // A literal holds the pointer, as the field is for all instructions.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    const auto* const expression = reinterpret_cast<const RLExpr*>(instruction.literal);
    return TargetOf(instruction, valueOf(expression, args).convert<bool>());
}

BoundInstruction::Step SizeStepOf(const BoundInstruction& instruction) {
    const auto comparison = static_cast<std::size_t>(instruction.comparison);
    switch (traits::ElementSize(static_cast<BaseType>(instruction.extra))) {
        case 1:
            return sizeTests<1>[comparison];
        case 2:
            return sizeTests<2>[comparison];
        case 4:
            return sizeTests<4>[comparison];
        case 8:
            return sizeTests<8>[comparison];
        default:
            break;
    }
    // An unknown type has no complete elements, however many bytes there are.
    return sizeTests<noElement>[comparison];
}

BoundInstruction::Step RangeStepOf(const BoundInstruction& range) {
    const auto from = static_cast<std::uint32_t>(range.literal);
    const bool isElement = from < 1U << 31U && from == range.literal >> 32U;
    const auto comparison = static_cast<std::size_t>(range.comparison);
    return VisitType(static_cast<BaseType>((&range)[1].test),
                     [&]<class Native>(std::type_identity<Native> /*type*/) {
                         if constexpr (std::is_arithmetic_v<Native>) {
                             return isElement ? elementTests<Native>[comparison]
                                              : rangeTests<Native>[comparison];
                         } else {
                             return BoundInstruction::Step{TestRange};
                         }
                     });
}

BoundInstruction::Step EntryStepOf(const BoundInstruction& instruction) {
    const auto comparison = static_cast<std::size_t>(instruction.comparison);
    return VisitType(static_cast<BaseType>(instruction.test),
                     [&]<class Native>(std::type_identity<Native> /*type*/) {
                         if constexpr (std::is_void_v<Native>) {
                             return BoundInstruction::Step{TestConstant};
                         } else {
                             return entryTests<Native>[comparison];
                         }
                     });
}

}  // namespace

BoundInstruction::Step StepOf(const BoundInstruction& instruction) {
    switch (instruction.test) {
        case Test::size:
            return SizeStepOf(instruction);
        case Test::range:
            return RangeStepOf(instruction);
        case Test::changeType:
            return TestChangeType;
        case Test::fallback:
            return TestFallback;
        case Test::constant:
        case Test::call:
            return TestConstant;
        default:
            return EntryStepOf(instruction);
    }
}

}  // namespace velmora::core::tessaryn
