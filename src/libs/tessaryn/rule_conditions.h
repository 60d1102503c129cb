// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/bound_rule.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/subscription_args.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string_view>

namespace velmora::core::tessaryn {

/// A property of a change to which conditions apply, as one number or, for several elements, the
/// least and the greatest.
struct Attribute {
    enum class Kind : unsigned char {
        changeType,
        size,
        elements,  ///< numbers in an order-preserving form
        textHash,
        textOrder  ///< the text itself, of which a group of conditions makes a number
    };

    Kind kind = Kind::changeType;
    /// Whether conditions are about some element in place of all: they hold for no elements, too.
    bool isAny = false;
    /// Value type of the entry.
    BoundInstruction::Test type = BoundInstruction::Test::constant;
    unsigned short entry = 0;
    /// Of a range of elements the instruction that says which; else null.
    const BoundInstruction* range = nullptr;

    bool operator==(const Attribute& other) const;
};

/// The value of an attribute for one change.
///
/// Conditions on `low` and `high` match where they are at most and at least these: for conditions
/// on all elements the least and the greatest element, for those on some element the reverse.
struct Reading {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    /// Whether no condition matches.
    bool isNone = true;

    static constexpr std::uint64_t greatest = std::numeric_limits<std::uint64_t>::max();

    bool operator==(const Reading&) const = default;
};

/// \param maxElements of longer arrays only a part is read, which matches more conditions
/// \pre the attribute is no `textOrder`
Reading Read(const Attribute& attribute, const SampleView& sample, const SubscriptionArgs& args,
             std::size_t maxElements);

/// The text of an attribute, of which `textOrder` is about.
inline std::string_view TextOf(const Attribute& attribute, const SampleView& sample) {
    return sample.BytesOfExisting(attribute.entry);
}

/// A necessary condition of a rule.
struct Condition {
    /// Of a `textOrder` the bounds relative to `text`.
    enum TextBound : unsigned char { unbounded, at, beyond };

    Attribute attribute;
    std::uint64_t low = 0;
    std::uint64_t high = Reading::greatest;
    std::string_view text = {};

    bool IsEquality() const {
        return low == high && !attribute.isAny && attribute.kind != Attribute::Kind::textOrder;
    }
};

/// Conditions that are all necessary for one way in which a rule holds.
struct Conjunction {
    /// The maximum; further ones are omitted.
    static constexpr std::size_t maxConditions = 6;

    std::array<Condition, maxConditions> conditions;
    std::size_t numConditions = 0;
    /// A condition that holds for all values but one, whose bounds both are that value.
    std::optional<Condition> exception;
};

/// Finds the conjunctions of which at least one is necessary for a rule to hold or to throw.
///
/// Each way through the instructions that ends in "holds", or at one that may throw, gives a
/// conjunction of the outcomes on the way.
/// \param add called for each conjunction
/// \return false if the rule has too many ways; it must then always be evaluated
bool FindConditions(const BoundRule& rule, const std::function<void(const Conjunction&)>& add);

}  // namespace velmora::core::tessaryn
