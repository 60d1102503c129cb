// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"
#include "tessaryn/rule_instruction.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/subscription_args.h"

#include <cstddef>
#include <cstdint>
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
    /// Tests a change; returns the distance to the next instruction, or the verdict.
    using Step = Target (*)(const BoundInstruction&, const SampleView&, const SubscriptionArgs&);

    /// Chosen for the test, the operator and the next instruction. Not used by a `call`.
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
    /// The same for elements of a number of bytes each.
    std::string_view ElementsOf(std::string_view bytes, std::size_t size) const {
        const auto from = static_cast<std::uint32_t>(literal);
        const std::uint64_t end = (literal >> 32U) + 1;
        const std::uint64_t count = bytes.size() / size;
        if (from < end && end <= count) [[likely]] {
            return {bytes.data() + from * size, (end - from) * size};
        }
        return ClampedElementsOf(bytes, size);
    }

  private:
    /// Of a range that does not lie within the entry.
    std::string_view ClampedElementsOf(std::string_view bytes, std::size_t size) const;
};

static_assert(sizeof(BoundInstruction) == 32);

}  // namespace velmora::core::tessaryn
