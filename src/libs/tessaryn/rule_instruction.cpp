// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_instruction.h"

#include "tessaryn/private/subscription_rule_expressions.h"

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <type_traits>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

using Opcode = Instruction::Opcode;

// ---- Comparing the bytes of an entry ----

// Whether there is an element and each passes the comparison with the literal.
using Comparison = bool (*)(const Instruction&, std::string_view bytes);

// Compares as the value type whose elements are held as `Native`.
template <class Native, class Operator>
bool CompareElements(const Instruction& instruction, std::string_view bytes) {
    constexpr Operator passes;
    if constexpr (std::is_same_v<Native, std::string>) {
        // Every element of a text is the entire text.
        return !bytes.empty() && passes(bytes, std::string_view(instruction.operands->text));
    } else {
        // The character of an `Int8` is a number with a sign.
        using Number = std::conditional_t<std::is_same_v<Native, char>, signed char, Native>;
        const auto literal = instruction.literal.As<Number>();
        if (bytes.size() == sizeof(Number)) [[likely]] {
            return passes(traits::Load<Number>(bytes.data()), literal);
        }
        const char* element = bytes.data();
        const char* const end = element + bytes.size() / sizeof(Number) * sizeof(Number);
        for (; element != end; element += sizeof(Number)) {
            if (!passes(traits::Load<Number>(element), literal)) {
                return false;
            }
        }
        return bytes.size() >= sizeof(Number);
    }
}

bool NeverPasses(const Instruction& /*instruction*/, std::string_view /*bytes*/) {
    return false;
}

// ---- Binding an entry ----

EntryBinding LookUp(const Instruction& instruction, const SampleView& sample) {
    const StreamType* const type = sample.Type();
    const std::string& name = instruction.operands->entryName;
    const bool exists = type != nullptr && type->EntryExists(name);
    const unsigned short id = exists ? type->EntryId(name) : StreamType::invalidEntryId;
    const BaseType declared = exists ? type->GetType(id) : UnknownType;
    const bool compares =
        instruction.opcode == Opcode::Compare || instruction.opcode == Opcode::CompareRange;
    unsigned int bound = declared;
    if (compares && !instruction.literal.IsConvertibleTo(declared)) {
        bound = EntryBinding::neverPasses;
    } else if (!exists) {
        bound = EntryBinding::missing;
    } else if (declared > traits::lastType) {
        bound = EntryBinding::otherType;
    }
    return EntryBinding(sample.LayoutNumber(), bound, id);
}

void ChooseTest(const Instruction& instruction, EntryBinding binding);

EntryBinding Bind(const Instruction& instruction, const SampleView& sample) {
    const EntryBinding previous = instruction.operands->previousBinding.Load();
    if (previous.LayoutNumber() == sample.LayoutNumber()) {
        return previous;
    }
    const EntryBinding binding = LookUp(instruction, sample);
    instruction.operands->previousBinding.Store(instruction.binding.Load());
    instruction.binding.Store(binding);
    if (instruction.opcode == Opcode::Compare) {
        ChooseTest(instruction, binding);
    }
    return binding;
}

// The entry in the sample's type.
EntryBinding BindingOf(const Instruction& instruction, const SampleView& sample) {
    const EntryBinding binding = instruction.binding.Load();
    return binding.LayoutNumber() == sample.LayoutNumber() ? binding : Bind(instruction, sample);
}

// ---- Tests ----

bool TestUnbound(const Instruction& instruction, const SampleView& sample,
                 const SubscriptionArgs& args);

// For all elements of an entry whose type, and so the comparison, was chosen when it was bound.
template <unsigned int boundType, Comparison compare>
bool TestBound(const Instruction& instruction, const SampleView& sample,
               const SubscriptionArgs& args) {
    const std::uint64_t id = instruction.binding.Load().IdIn(sample, boundType);
    if (id > EntryBinding::maxId) [[unlikely]] {
        return TestUnbound(instruction, sample, args);
    }
    return boundType != EntryBinding::neverPasses &&
           compare(instruction, sample.BytesOfExisting(static_cast<unsigned short>(id)));
}

struct Comparer {
    Comparison compare;
    Instruction::Test test;
};

// By what an entry is bound to; the rest never passes.
using Comparers = std::array<Comparer, EntryBinding::neverPasses + 1>;

template <class Operator>
constexpr Comparers MakeComparers() {
    Comparers comparers;
    comparers.fill({NeverPasses, TestBound<EntryBinding::neverPasses, NeverPasses>});
    for (unsigned short type = Int8; type <= String; ++type) {
        comparers[type] =
            VisitType(static_cast<BaseType>(type), []<class Native>(std::type_identity<Native>) {
                if constexpr (std::is_void_v<Native>) {
                    return Comparer{NeverPasses, TestUnbound};
                } else {
                    constexpr Comparison compare = CompareElements<Native, Operator>;
                    return Comparer{compare, TestBound<GetBaseType<Native>(), compare>};
                }
            });
    }
    return comparers;
}

// By `Instruction::Operator`.
constexpr std::array<Comparers, 6> comparersOf = {
    MakeComparers<std::equal_to<>>(), MakeComparers<std::not_equal_to<>>(),
    MakeComparers<std::less<>>(),     MakeComparers<std::less_equal<>>(),
    MakeComparers<std::greater<>>(),  MakeComparers<std::greater_equal<>>()};

Comparer ComparerOf(const Instruction& instruction, EntryBinding binding) {
    return comparersOf[static_cast<std::size_t>(instruction.comparison)][binding.Type()];
}

void ChooseTest(const Instruction& instruction, EntryBinding binding) {
    instruction.test.Store(ComparerOf(instruction, binding).test);
}

// For all elements of an entry, whatever its type is.
bool TestUnbound(const Instruction& instruction, const SampleView& sample,
                 const SubscriptionArgs& /*args*/) {
    const EntryBinding binding = BindingOf(instruction, sample);
    return ComparerOf(instruction, binding).compare(instruction, sample.Bytes(binding.Id()));
}

bool TestRange(const Instruction& instruction, const SampleView& sample,
               const SubscriptionArgs& /*args*/) {
    const EntryBinding binding = BindingOf(instruction, sample);
    const auto type = static_cast<BaseType>(binding.Type());
    const std::string_view bytes = sample.Bytes(binding.Id());
    const Operands& operands = *instruction.operands;
    const auto last = static_cast<long long>(traits::ElementCount(type, bytes.size())) - 1;
    const long long from = std::max(operands.from, 0);
    const long long to = operands.to < 0 ? last : std::min<long long>(operands.to, last);
    if (from > to) {
        return false;
    }
    const std::size_t size = traits::ElementSize(type);
    const auto first = static_cast<std::size_t>(from);
    const auto count = static_cast<std::size_t>(to - from + 1);
    return ComparerOf(instruction, binding)
        .compare(instruction, type == String ? bytes : bytes.substr(first * size, count * size));
}

bool TestSize(const Instruction& instruction, const SampleView& sample,
              const SubscriptionArgs& /*args*/) {
    const EntryBinding binding = BindingOf(instruction, sample);
    if (binding.Type() == EntryBinding::missing || !instruction.literal.IsConvertibleTo(UInt32)) {
        return false;
    }
    const auto size = static_cast<unsigned int>(traits::ElementCount(
        static_cast<BaseType>(binding.Type()), sample.Bytes(binding.Id()).size()));
    const std::string_view bytes(reinterpret_cast<const char*>(&size), sizeof size);
    const auto op = static_cast<std::size_t>(instruction.comparison);
    return comparersOf[op][UInt32].compare(instruction, bytes);
}

bool TestExists(const Instruction& instruction, const SampleView& sample,
                const SubscriptionArgs& /*args*/) {
    return BindingOf(instruction, sample).Type() != EntryBinding::missing;
}

bool TestChangeType(const Instruction& instruction, const SampleView& /*sample*/,
                    const SubscriptionArgs& args) {
    return args.changeType == instruction.changeType;
}

bool TestFallback(const Instruction& instruction, const SampleView& /*sample*/,
                  const SubscriptionArgs& args) {
    return valueOf(instruction.operands->expression, args).convert<bool>();
}

// The test of an instruction that is not bound yet.
Instruction::Test TestOf(Opcode opcode) {
    switch (opcode) {
        case Opcode::Compare:
            return TestUnbound;
        case Opcode::CompareRange:
            return TestRange;
        case Opcode::CompareSize:
            return TestSize;
        case Opcode::Exists:
            return TestExists;
        case Opcode::ChangeType:
            return TestChangeType;
        case Opcode::Fallback:
            return TestFallback;
        case Opcode::Call:
            break;
    }
    return nullptr;
}

}  // namespace

Instruction::Instruction(Opcode opcode, const Operands& operands)
    : test(TestOf(opcode)), operands(&operands), opcode(opcode) {}

}  // namespace velmora::core::tessaryn
