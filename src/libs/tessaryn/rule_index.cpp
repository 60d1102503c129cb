// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_index.h"

#include <algorithm>
#include <bit>
#include <bitset>
#include <optional>
#include <unordered_map>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

using Kind = Attribute::Kind;

// A batch is merged with the one before it unless that one is so many times as large.
constexpr std::uint32_t growth = 4;

// Evaluating this number of rules takes no longer than a search in a group.
constexpr std::size_t minGroupSize = 4;

// Elements that are read of an array for a few rules, and for each further one.
constexpr std::size_t minElementsRead = 256;
constexpr std::size_t elementsReadPerEntry = 16;

struct AttributeHash {
    std::size_t operator()(const Attribute& attribute) const {
        const std::uint64_t range = attribute.range == nullptr ? 0 : attribute.range->literal;
        const std::uint64_t fields = std::uint64_t{attribute.entry} << 24U |
                                     static_cast<std::uint64_t>(attribute.type) << 16U |
                                     static_cast<std::uint64_t>(attribute.kind) << 8U |
                                     static_cast<std::uint64_t>(attribute.isAny);
        return std::hash<std::uint64_t>()((fields ^ range) * 0x9E3779B97F4A7C15U);
    }
};

}  // namespace

// Chooses the conditions by which the rules of a batch are found.
class RuleIndex::Builder {
  public:
    Builder(RuleIndex& index, const SampleView& sample, const SubscriptionArgs& args)
        : index(index), sample(sample), args(args) {}

    // Must be called for each rule before the first is added.
    void Count(const BoundRule& rule) {
        FindConditions(rule, [this](const Conjunction& conjunction) {
            for (std::size_t i = 0; i < conjunction.numConditions; ++i) {
                const Condition& condition = conjunction.conditions[i];
                if (condition.IsEquality()) {
                    values[condition.attribute].set(condition.low * 0x9E3779B97F4A7C15U >> 56U);
                }
            }
        });
    }

    // \param rule null for one that must always be evaluated
    void Add(std::uint32_t position, const BoundRule* rule) {
        bool isFound = rule != nullptr;
        isFound = isFound &&
                  FindConditions(*rule,
                                 [&](const Conjunction& conjunction) {
                                     isFound = Add(position, conjunction) && isFound;
                                 }) &&
                  isFound;
        if (!isFound) {
            always.push_back(position);
        }
    }

    void Finish(Batch& batch) {
        for (auto& [pair, entries] : groups) {
            const auto& [value, interval] = pair;
            if (entries.size() < minGroupSize) {
                for (const ConditionGroup::Entry& entry : entries) {
                    always.push_back(entry.position);
                }
                continue;
            }
            const bool isText = interval && interval->kind == Kind::textOrder;
            const auto form = !interval ? ConditionGroup::Form::value
                              : value   ? ConditionGroup::Form::valueAndInterval
                                        : ConditionGroup::Form::interval;
            ConditionGroup conditions(form, isText, std::move(entries));
            const std::size_t size = conditions.Size();
            batch.groups.push_back({noAttribute, noAttribute, std::move(conditions)});
            batch.groups.back().value = value ? index.Use(*value, size) : noAttribute;
            batch.groups.back().interval = interval ? index.Use(*interval, size) : noAttribute;
        }
        std::sort(always.begin(), always.end());
        always.erase(std::unique(always.begin(), always.end()), always.end());
        index.always.insert(index.always.end(), always.begin(), always.end());
    }

  private:
    using Entry = ConditionGroup::Entry;
    using GroupKey = std::pair<std::optional<Attribute>, std::optional<Attribute>>;
    struct GroupHash {
        std::size_t operator()(const GroupKey& key) const {
            const AttributeHash hash;
            return (key.first ? hash(*key.first) : 1) * 31 + (key.second ? hash(*key.second) : 1);
        }
    };

    // Returns false if the conjunction has no condition that can be indexed.
    bool Add(std::uint32_t position, const Conjunction& conjunction) {
        const Condition* const value = BestValue(conjunction);
        const Condition* const interval = BestInterval(conjunction, value);
        if (value == nullptr && interval == nullptr) {
            return conjunction.exception && AddExceptional(position, *conjunction.exception);
        }
        Entry entry{.position = position};
        if (value != nullptr) {
            entry.value = value->low;
        }
        if (interval != nullptr) {
            entry.low = interval->low;
            entry.high = interval->high;
            entry.text = interval->text;
        }
        GroupOf(value, interval).push_back(entry);
        return true;
    }

    // Two intervals, below and above the value.
    bool AddExceptional(std::uint32_t position, const Condition& exception) {
        std::vector<Entry>& entries = GroupOf(nullptr, &exception);
        const std::uint64_t value = exception.low;
        if (value > 0) {
            entries.push_back({.high = value - 1, .position = position});
        }
        if (value < Reading::greatest) {
            entries.push_back({.low = value + 1, .position = position});
        }
        return true;
    }

    // The equality whose attribute has the most values in the batch.
    const Condition* BestValue(const Conjunction& conjunction) const {
        const Condition* best = nullptr;
        std::size_t maxCount = 0;
        for (std::size_t i = 0; i < conjunction.numConditions; ++i) {
            const Condition& condition = conjunction.conditions[i];
            const std::size_t count =
                condition.IsEquality() ? values.at(condition.attribute).count() : 0;
            if (count > maxCount) {
                best = &condition;
                maxCount = count;
            }
        }
        return best;
    }

    const Condition* BestInterval(const Conjunction& conjunction, const Condition* value) const {
        const Condition* best = nullptr;
        int highest = 0;
        for (std::size_t i = 0; i < conjunction.numConditions; ++i) {
            const Condition& condition = conjunction.conditions[i];
            const bool isValue = &condition == value;
            const bool isTwoSided = condition.low != 0 && condition.high != Reading::greatest;
            const int score = isValue                  ? 0
                              : condition.IsEquality() ? 6
                              : isTwoSided             ? 4
                              : FailsNow(condition)    ? 3
                                                       : 2;
            if (score > highest) {
                best = &condition;
                highest = score;
            }
        }
        return best;
    }

    bool FailsNow(const Condition& condition) const {
        if (condition.attribute.kind == Kind::textOrder) {
            return false;
        }
        const Reading now = Read(condition.attribute, sample, args, minElementsRead);
        return now.isNone || condition.low > now.low || condition.high < now.high;
    }

    std::vector<Entry>& GroupOf(const Condition* value, const Condition* interval) {
        const auto attributeOf = [](const Condition* condition) {
            return condition == nullptr ? std::nullopt : std::optional(condition->attribute);
        };
        return groups[{attributeOf(value), attributeOf(interval)}];
    }

    RuleIndex& index;
    const SampleView& sample;
    const SubscriptionArgs& args;
    // Hashed values that conditions require of an attribute.
    std::unordered_map<Attribute, std::bitset<256>, AttributeHash> values;
    std::unordered_map<GroupKey, std::vector<Entry>, GroupHash> groups;
    std::vector<std::uint32_t> always;
};

void RuleIndex::Extend(std::uint32_t end, const RuleAt& ruleAt, const SampleView& sample,
                       const SubscriptionArgs& args) {
    std::uint32_t begin = indexedEnd;
    while (!batches.empty() && begin - batches.back().begin < growth * (end - begin)) {
        begin = batches.back().begin;
        RemoveLastBatch();
    }
    ++version;
    Builder builder(*this, sample, args);
    for (std::uint32_t position = begin; position < end; ++position) {
        const BoundRule* const rule = ruleAt(position);
        if (rule != nullptr) {
            builder.Count(*rule);
        }
    }
    for (std::uint32_t position = begin; position < end; ++position) {
        builder.Add(position, ruleAt(position));
    }
    batches.push_back({begin, {}});
    builder.Finish(batches.back());
    indexedEnd = end;
}

void RuleIndex::Clear() {
    attributes.clear();
    batches.clear();
    always.clear();
    indexedEnd = 0;
    numTextGroups = 0;
    ++version;
}

std::uint32_t RuleIndex::Use(const Attribute& attribute, std::size_t numEntries) {
    UsedAttribute* used = nullptr;
    for (UsedAttribute& each : attributes) {
        if (each.numEntries > 0 && each.attribute == attribute) {
            used = &each;
            break;
        }
        used = each.numEntries == 0 ? &each : used;
    }
    if (used == nullptr) {
        used = &attributes.emplace_back();
    }
    used->attribute = attribute;
    used->numEntries += numEntries;
    numTextGroups += attribute.kind == Kind::textOrder ? 1 : 0;
    return static_cast<std::uint32_t>(used - attributes.data());
}

void RuleIndex::Unuse(const Group& group) {
    for (const std::uint32_t id : {group.value, group.interval}) {
        if (id != noAttribute) {
            attributes[id].numEntries -= group.conditions.Size();
            numTextGroups -= attributes[id].attribute.kind == Kind::textOrder ? 1 : 0;
        }
    }
}

void RuleIndex::RemoveLastBatch() {
    const Batch& last = batches.back();
    for (const Group& group : last.groups) {
        Unuse(group);
    }
    indexedEnd = last.begin;
    always.erase(std::lower_bound(always.begin(), always.end(), last.begin), always.end());
    batches.pop_back();
}

// ---- Selecting ----

void RuleIndex::Select(RuleSelection& selection, std::uint32_t from, const SampleView& sample,
                       const SubscriptionArgs& args) const {
    ReadAll(selection.readings, sample, args);
    selection.found.clear();
    for (const Batch& batch : batches) {
        for (const Group& group : batch.groups) {
            Find(group, selection, sample);
        }
    }
    SortFound(selection, from);
    selection.nextFound = 0;
    selection.always = &always;
    selection.nextAlways = static_cast<std::size_t>(
        std::lower_bound(always.begin(), always.end(), from) - always.begin());
    selection.end = indexedEnd;
    selection.version = version;
    selection.isKept = false;
    if (!selection.found.empty() || selection.nextAlways < always.size()) {
        selection.Keep(sample, args);
    }
}

void RuleIndex::Update(RuleSelection& selection, std::uint32_t from, const SampleView& sample,
                       const SubscriptionArgs& args) const {
    const bool isSame = selection.version == version &&
                        (selection.IsKept(sample, args) ||
                         (numTextGroups == 0 && AreReadings(selection.readings, sample, args)));
    if (!isSame) {
        Select(selection, from, sample, args);
    }
}

void RuleIndex::ReadAll(std::vector<Reading>& readings, const SampleView& sample,
                        const SubscriptionArgs& args) const {
    readings.clear();
    for (const UsedAttribute& each : attributes) {
        readings.push_back(ReadOne(each, sample, args));
    }
}

bool RuleIndex::AreReadings(const std::vector<Reading>& readings, const SampleView& sample,
                            const SubscriptionArgs& args) const {
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (ReadOne(attributes[i], sample, args) != readings[i]) {
            return false;
        }
    }
    return true;
}

Reading RuleIndex::ReadOne(const UsedAttribute& used, const SampleView& sample,
                           const SubscriptionArgs& args) {
    return used.numEntries > 0 && used.attribute.kind != Kind::textOrder
               ? Read(used.attribute, sample, args,
                      minElementsRead + elementsReadPerEntry * used.numEntries)
               : Reading();
}

void RuleIndex::Find(const Group& group, RuleSelection& selection, const SampleView& sample) const {
    Reading value;
    Reading interval;
    if (group.value != noAttribute) {
        value = selection.readings[group.value];
    }
    if (group.interval != noAttribute) {
        const Attribute& attribute = attributes[group.interval].attribute;
        interval = attribute.kind == Kind::textOrder
                       ? group.conditions.Rank(TextOf(attribute, sample), attribute.isAny)
                       : selection.readings[group.interval];
    }
    group.conditions.Find(value, interval, selection.found);
}

// Leaves the positions from one on, ascending, each once.
void RuleIndex::SortFound(RuleSelection& selection, std::uint32_t from) {
    // If more than this share of the positions is selected, a pass over all is faster than sorting.
    constexpr std::size_t sparse = 64;
    std::vector<std::uint32_t>& found = selection.found;
    if (from > 0) {
        std::erase_if(found, [from](std::uint32_t position) { return position < from; });
    }
    const auto greatest = std::max_element(found.begin(), found.end());
    if (found.size() > sparse && found.size() * sparse > *greatest) {
        SortByMarks(selection, *greatest);
    } else {
        std::sort(found.begin(), found.end());
    }
}

void RuleIndex::SortByMarks(RuleSelection& selection, std::uint32_t greatest) {
    constexpr std::uint32_t bits = 64;
    selection.marks.assign(greatest / bits + 1, 0);
    for (const std::uint32_t position : selection.found) {
        selection.marks[position / bits] |= std::uint64_t{1} << (position % bits);
    }
    selection.found.clear();
    for (std::uint32_t i = 0; i < selection.marks.size(); ++i) {
        for (std::uint64_t rest = selection.marks[i]; rest != 0; rest &= rest - 1) {
            selection.found.push_back(i * bits +
                                      static_cast<std::uint32_t>(std::countr_zero(rest)));
        }
    }
}

void RuleSelection::Keep(const SampleView& sample, const SubscriptionArgs& args) {
    if (sample.AllBytes().size() + sample.Offsets().size() <= maxKept) {
        keptBytes = sample.AllBytes();
        keptOffsets = sample.Offsets();
        keptChange = args.changeType;
        isKept = true;
    }
}

bool RuleSelection::IsKept(const SampleView& sample, const SubscriptionArgs& args) const {
    return isKept && args.changeType == keptChange && sample.Offsets() == keptOffsets &&
           sample.AllBytes() == keptBytes;
}

std::uint32_t RuleSelection::Next(std::uint32_t position) {
    std::uint32_t next = std::max(position, end);
    while (nextFound < found.size() && found[nextFound] < position) {
        ++nextFound;
    }
    while (nextAlways < always->size() && (*always)[nextAlways] < position) {
        ++nextAlways;
    }
    if (nextFound < found.size()) {
        next = std::min(next, found[nextFound]);
    }
    if (nextAlways < always->size()) {
        next = std::min(next, (*always)[nextAlways]);
    }
    return next;
}

}  // namespace velmora::core::tessaryn
