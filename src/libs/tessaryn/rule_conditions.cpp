// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_conditions.h"

#include "tessaryn/number_key.h"
#include "tessaryn/value_traits.h"

#include <algorithm>

namespace velmora::core::tessaryn {

namespace {

using Kind = Attribute::Kind;
using Operator = Instruction::Operator;
using Test = BoundInstruction::Test;

// ---- Texts ----

// Equal texts have equal hashes; of a long text only both ends count.
std::uint64_t HashOf(std::string_view text) {
    constexpr std::size_t maxBytes = 4096;
    constexpr std::uint64_t factor = 0x9E3779B97F4A7C15U;
    std::uint64_t hash = text.size() * factor;
    if (text.size() > maxBytes) {
        hash ^= HashOf(text.substr(text.size() - maxBytes / 2));
        text = text.substr(0, maxBytes / 2);
    }
    const auto mix = [&](std::uint64_t word) {
        hash = (hash ^ word) * factor;
        hash ^= hash >> 32U;
    };
    for (; text.size() >= sizeof(std::uint64_t); text.remove_prefix(sizeof(std::uint64_t))) {
        mix(traits::Load<std::uint64_t>(text.data()));
    }
    std::uint64_t last = 0;
    std::copy(text.begin(), text.end(), reinterpret_cast<char*>(&last));
    mix(last);
    return hash;
}

// ---- Reading ----

Reading ReadingOf(std::uint64_t least, std::uint64_t greatest, bool isAny) {
    return isAny ? Reading{greatest, least, false} : Reading{least, greatest, false};
}

// If no condition on all elements holds, all conditions on some element do.
Reading ReadingOfNothing(bool isAny) {
    return isAny ? Reading{Reading::greatest, 0, false} : Reading();
}

template <class Native>
Reading ReadElements(std::string_view bytes, bool isAny, std::size_t maxElements) {
    using Number = NumberOf<Native>;
    if (bytes.size() == sizeof(Number)) [[likely]] {
        const auto number = traits::Load<Number>(bytes.data());
        if (!IsNaN(number)) {
            const std::uint64_t key = KeyOf(static_cast<Wide<Native>>(number));
            return {key, key, false};
        }
    }
    const std::size_t count = bytes.size() / sizeof(Number);
    // A condition that holds for all elements holds for the first ones; one that holds for some may
    // not.
    if (count == 0 || (isAny && count > maxElements)) {
        return ReadingOfNothing(isAny);
    }
    auto least = traits::Load<Number>(bytes.data());
    auto greatest = least;
    bool isOrdered = !IsNaN(least);
    for (std::size_t i = 1; i < std::min(count, maxElements); ++i) {
        const auto element = traits::Load<Number>(bytes.data() + i * sizeof(Number));
        least = element < least ? element : least;
        greatest = element > greatest ? element : greatest;
        isOrdered &= !IsNaN(element);
    }
    // NaN fails in every comparison but "!=", which is a condition on some element.
    return isOrdered ? ReadingOf(KeyOf(static_cast<Wide<Native>>(least)),
                                 KeyOf(static_cast<Wide<Native>>(greatest)), isAny)
                     : ReadingOfNothing(isAny);
}

Reading ReadElements(Test type, std::string_view bytes, bool isAny, std::size_t maxElements) {
    return VisitType(
        static_cast<BaseType>(type), [&]<class Native>(std::type_identity<Native> /*type*/) {
            if constexpr (std::is_void_v<Native> || std::is_same_v<Native, std::string>) {
                return ReadingOfNothing(isAny);
            } else {
                return ReadElements<Native>(bytes, isAny, maxElements);
            }
        });
}

}  // namespace

bool Attribute::operator==(const Attribute& other) const {
    return kind == other.kind && isAny == other.isAny && type == other.type &&
           entry == other.entry && (range == nullptr) == (other.range == nullptr) &&
           (range == nullptr || range->literal == other.range->literal);
}

Reading Read(const Attribute& attribute, const SampleView& sample, const SubscriptionArgs& args,
             std::size_t maxElements) {
    if (attribute.kind == Kind::changeType) {
        return ReadingOf(args.changeType, args.changeType, attribute.isAny);
    }
    std::string_view bytes = sample.BytesOfExisting(attribute.entry);
    if (attribute.kind == Kind::size) {
        const std::size_t size =
            traits::ElementCount(static_cast<BaseType>(attribute.type), bytes.size());
        return ReadingOf(size, size, attribute.isAny);
    }
    if (attribute.range != nullptr) {
        bytes = attribute.range->ElementsOf(bytes, attribute.type);
    }
    if (attribute.kind == Kind::elements) {
        return ReadElements(attribute.type, bytes, attribute.isAny, maxElements);
    }
    if (bytes.empty()) {
        return ReadingOfNothing(attribute.isAny);
    }
    const std::uint64_t hash = HashOf(bytes);
    return ReadingOf(hash, hash, attribute.isAny);
}

// ---- Finding ----

namespace {

Operator OppositeOf(Operator comparison) {
    switch (comparison) {
        case Operator::equal:
            return Operator::notEqual;
        case Operator::notEqual:
            return Operator::equal;
        case Operator::less:
            return Operator::greaterOrEqual;
        case Operator::lessOrEqual:
            return Operator::greater;
        case Operator::greater:
            return Operator::lessOrEqual;
        case Operator::greaterOrEqual:
            break;
    }
    return Operator::less;
}

class Finder {
  public:
    explicit Finder(const std::function<void(const Conjunction&)>& add) : add(add) {}

    // Returns false if there are too many ways.
    bool Follow(const BoundInstruction* instruction, const Conjunction& necessary, int depth) {
        // Instructions that may throw, and those beyond the limit, end a way as if the rule held.
        if (depth == maxDepth || instruction->test == Test::fallback ||
            instruction->test == Test::call) {
            return Add(necessary);
        }
        for (const bool outcome : {true, false}) {
            const auto target = outcome ? instruction->onTrue : instruction->onFalse;
            if (target == Instruction::fails ||
                (instruction->test == Test::constant && outcome != (instruction->literal != 0))) {
                continue;
            }
            Conjunction next = necessary;
            if (!Require(next, *instruction, outcome)) {
                continue;
            }
            const bool isFollowed = target == Instruction::holds
                                        ? Add(next)
                                        : Follow(instruction + target, next, depth + 1);
            if (!isFollowed) {
                return false;
            }
        }
        return true;
    }

  private:
    static constexpr int maxDepth = 64;
    static constexpr int maxWays = 16;

    bool Add(const Conjunction& conjunction) {
        if (++ways > maxWays) {
            return false;
        }
        add(conjunction);
        return true;
    }

    // Adds the conditions of an instruction's outcome. Returns false if it is impossible.
    static bool Require(Conjunction& conjunction, const BoundInstruction& instruction,
                        bool outcome) {
        Condition condition;
        Attribute& attribute = condition.attribute;
        attribute.entry = instruction.entry;
        // The outcome "false" is the opposite comparison of some element.
        attribute.isAny = !outcome;
        const Operator comparison =
            outcome ? instruction.comparison : OppositeOf(instruction.comparison);
        switch (instruction.test) {
            case Test::constant:
                return true;
            case Test::changeType:
                condition.low = condition.high = instruction.extra;
                attribute.isAny = false;
                return outcome ? Add(conjunction, condition) : Except(conjunction, condition);
            case Test::size:
                attribute.kind = Kind::size;
                attribute.type = static_cast<Test>(instruction.extra);
                attribute.isAny = false;
                return Compare(conjunction, condition, comparison, instruction.literal);
            case Test::text:
                attribute.type = Test::text;
                return CompareText(conjunction, condition, comparison, instruction.Text());
            case Test::range:
                attribute.range = &instruction;
                return RequireElements(conjunction, condition, (&instruction)[1], comparison);
            default:
                return RequireElements(conjunction, condition, instruction, comparison);
        }
    }

    static bool RequireElements(Conjunction& conjunction, Condition& condition,
                                const BoundInstruction& elements, Operator comparison) {
        Attribute& attribute = condition.attribute;
        attribute.type = elements.test;
        if (elements.test == Test::constant) {
            return attribute.isAny;
        }
        if (elements.test == Test::text) {
            // Whether the range holds an element at all is left to the rule.
            attribute.range = nullptr;
            return attribute.isAny ||
                   CompareText(conjunction, condition, comparison, elements.Text());
        }
        attribute.kind = Kind::elements;
        // With NaN no comparison holds but "!=", which always does.
        if (IsKeyOfNaN(elements.literal, static_cast<BaseType>(elements.test))) {
            return attribute.isAny || comparison == Operator::notEqual;
        }
        return Compare(conjunction, condition, comparison, elements.literal);
    }

    static bool Compare(Conjunction& conjunction, Condition& condition, Operator comparison,
                        std::uint64_t key) {
        // A condition on some element that no element can meet still holds without elements.
        const auto impossible = [&] {
            condition.low = Reading::greatest;
            condition.high = 0;
            return condition.attribute.isAny && Add(conjunction, condition);
        };
        switch (comparison) {
            case Operator::equal:
                condition.low = condition.high = key;
                break;
            case Operator::notEqual:
                condition.low = condition.high = key;
                return Except(conjunction, condition);
            case Operator::less:
                if (key == 0) {
                    return impossible();
                }
                condition.high = key - 1;
                break;
            case Operator::lessOrEqual:
                condition.high = key;
                break;
            case Operator::greater:
                if (key == Reading::greatest) {
                    return impossible();
                }
                condition.low = key + 1;
                break;
            case Operator::greaterOrEqual:
                condition.low = key;
                break;
        }
        return Add(conjunction, condition);
    }

    static bool CompareText(Conjunction& conjunction, Condition& condition, Operator comparison,
                            std::string_view text) {
        Attribute& attribute = condition.attribute;
        attribute.kind = Kind::textHash;
        if (comparison == Operator::equal) {
            condition.low = condition.high = HashOf(text);
            return Add(conjunction, condition);
        }
        if (comparison == Operator::notEqual) {
            condition.low = condition.high = HashOf(text);
            return Except(conjunction, condition);
        }
        attribute.kind = Kind::textOrder;
        condition.text = text;
        condition.low = comparison == Operator::greater          ? Condition::beyond
                        : comparison == Operator::greaterOrEqual ? Condition::at
                                                                 : Condition::unbounded;
        condition.high = comparison == Operator::less          ? Condition::beyond
                         : comparison == Operator::lessOrEqual ? Condition::at
                                                               : Condition::unbounded;
        return Add(conjunction, condition);
    }

    // Returns false if the conditions contradict each other.
    static bool Add(Conjunction& conjunction, const Condition& condition) {
        const bool isInterval =
            !condition.attribute.isAny && condition.attribute.kind != Kind::textOrder;
        for (std::size_t i = 0; isInterval && i < conjunction.numConditions; ++i) {
            Condition& other = conjunction.conditions[i];
            if (other.attribute == condition.attribute) {
                other.low = std::max(other.low, condition.low);
                other.high = std::min(other.high, condition.high);
                return other.low <= other.high;
            }
        }
        if (conjunction.numConditions < Conjunction::maxConditions) {
            conjunction.conditions[conjunction.numConditions++] = condition;
        }
        return true;
    }

    static bool Except(Conjunction& conjunction, Condition condition) {
        // With the value on both sides among the elements none need equal it.
        condition.attribute.isAny = true;
        if (!conjunction.exception) {
            conjunction.exception = condition;
        }
        return true;
    }

    const std::function<void(const Conjunction&)>& add;
    int ways = 0;
};

}  // namespace

bool FindConditions(const BoundRule& rule, const std::function<void(const Conjunction&)>& add) {
    return Finder(add).Follow(rule.Code(), Conjunction(), 0);
}

}  // namespace velmora::core::tessaryn
