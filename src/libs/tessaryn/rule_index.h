// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/condition_group.h"
#include "tessaryn/rule_conditions.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/subscription_args.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {

class BoundRule;
class RuleIndex;

/// The rules to be evaluated for one change, from some position on.
/// \threadsafety external
class RuleSelection {
  public:
    /// The first selected position at or after the given one; the given one itself if all rules are
    /// selected.
    std::uint32_t Next(std::uint32_t position);

  private:
    friend class RuleIndex;

    // Keeps a copy of a small change, to find out whether it is still the same.
    void Keep(const SampleView& sample, const SubscriptionArgs& args);
    bool IsKept(const SampleView& sample, const SubscriptionArgs& args) const;

    // For larger samples, comparing the attributes is faster.
    static constexpr std::size_t maxKept = 1024;

    std::vector<Reading> readings;
    /// Ascending.
    std::vector<std::uint32_t> found;
    /// A bit for each position, for sorting many.
    std::vector<std::uint64_t> marks;
    std::size_t nextFound = 0;
    std::size_t nextAlways = 0;
    const std::vector<std::uint32_t>* always = nullptr;
    /// From this position on all are selected.
    std::uint32_t end = 0;
    /// State of the index; 0 before the first selection.
    std::uint64_t version = 0;
    std::string keptBytes;
    std::string keptOffsets;
    StreamChangeType keptChange = pushed;
    bool isKept = false;
};

/// Finds among many rules those that may hold for a change, without evaluating the others.
///
/// A rule stands at a position, the place of its subscriber in the order of subscribing. For each
/// way in which it may hold it is put into the group of one or two conditions that this requires:
/// equality with a literal, or an interval, or both. Rules that require neither, that may throw, or
/// that are not the library's are always evaluated.
///
/// Positions are indexed in batches, each about four times as large as the next, so that a rule is
/// moved only a few times, however many are added. Removed rules stay until the index is cleared.
///
/// \threadsafety external
class RuleIndex {
  public:
    /// The rule at a position; null for one that must always be evaluated. Rules at positions that
    /// were indexed must live until the index is cleared.
    using RuleAt = std::function<const BoundRule*(std::uint32_t position)>;

    /// Indexes the positions from the end of those indexed up to `end`.
    /// \param sample the present one, of which conditions that fail are preferred
    /// \throws std::bad_alloc: some of the positions at the end are no longer indexed
    void Extend(std::uint32_t end, const RuleAt& ruleAt, const SampleView& sample,
                const SubscriptionArgs& args);
    /// Forgets all positions.
    void Clear();

    /// The first position that is not indexed.
    std::uint32_t End() const { return indexedEnd; }

    /// Selects the rules for a change.
    void Select(RuleSelection& selection, std::uint32_t from, const SampleView& sample,
                const SubscriptionArgs& args) const;
    /// Selects again if attributes of the change, or the index, have changed since the last
    /// selection.
    void Update(RuleSelection& selection, std::uint32_t from, const SampleView& sample,
                const SubscriptionArgs& args) const;

  private:
    class Builder;

    struct UsedAttribute {
        Attribute attribute;
        /// In the groups; 0 for an attribute that is no longer used.
        std::size_t numEntries = 0;
    };
    static constexpr std::uint32_t noAttribute = static_cast<std::uint32_t>(-1);
    struct Group {
        std::uint32_t value;
        std::uint32_t interval;
        ConditionGroup conditions;
    };
    struct Batch {
        std::uint32_t begin;
        std::vector<Group> groups;
    };

    std::uint32_t Use(const Attribute& attribute, std::size_t numEntries);
    void Unuse(const Group& group);
    void RemoveLastBatch();
    void ReadAll(std::vector<Reading>& readings, const SampleView& sample,
                 const SubscriptionArgs& args) const;
    bool AreReadings(const std::vector<Reading>& readings, const SampleView& sample,
                     const SubscriptionArgs& args) const;
    static Reading ReadOne(const UsedAttribute& used, const SampleView& sample,
                           const SubscriptionArgs& args);
    void Find(const Group& group, RuleSelection& selection, const SampleView& sample) const;
    static void SortFound(RuleSelection& selection, std::uint32_t from);
    static void SortByMarks(RuleSelection& selection, std::uint32_t greatest);

    std::vector<UsedAttribute> attributes;
    // By position.
    std::vector<Batch> batches;
    // Positions of rules that must always be evaluated, ascending.
    std::vector<std::uint32_t> always;
    std::uint32_t indexedEnd = 0;
    // Groups of intervals of texts, whose readings are not kept.
    std::size_t numTextGroups = 0;
    // Incremented when the contents change.
    std::uint64_t version = 1;
};

}  // namespace velmora::core::tessaryn
