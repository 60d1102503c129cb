// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/bound_rule.h"
#include "tessaryn/subscription_args.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_set>

namespace velmora::core::tessaryn {

class RuleProgram;
class SampleView;
class StreamType;

/// A rule that a stream's subscriptions share, bound to the stream's type: everything needed to
/// evaluate it, in about 150 bytes.
///
/// \threadsafety external
class StoredRule {
  public:
    /// \param program of a pure rule
    /// \param type null for one without entries
    StoredRule(std::shared_ptr<const RuleProgram> program, const StreamType* type);

    /// Whether the rule holds for a change.
    /// \param sample of the type that the rule is bound to, in the same state
    bool Holds(const SampleView& sample, const SubscriptionArgs& args) const {
        return bound.Holds(sample, args);
    }
    /// The same, but faster if other rules have already read the same entries.
    bool Holds(EntryKeys& keys, const SampleView& sample, const SubscriptionArgs& args) const {
        return bound.Holds(keys, sample, args);
    }
    /// The same for any sample, and for none.
    bool HoldsAnywhere(const SubscriptionArgs& args) const;

    const BoundRule& GetBound() const { return bound; }
    /// \throws std::bad_alloc: the rule is then bound as before
    void Bind(const StreamType* type) const;

    /// Whether another one is the same, however it is bound.
    bool operator==(const StoredRule& other) const;
    std::size_t Hash() const;

    /// Subscribers that use it.
    mutable std::uint32_t uses = 0;

  private:
    /// Of a rule that is not encodable, or whose instructions refer to its tree; else null.
    std::unique_ptr<const std::shared_ptr<const RuleProgram>> program;
    /// With the encoded tree behind it, if there is no program.
    mutable BoundRule bound;
};

/// The rules of a stream's subscriptions, each once.
/// \threadsafety external
class StoredRules {
  public:
    /// The stored rule that is equal; used once more.
    /// \return \ownership lends: until it is released as often as it was acquired
    const StoredRule* Acquire(StoredRule rule);
    void Release(const StoredRule* rule);
    /// Binds all rules to another type, or another state of it.
    /// \throws std::bad_alloc: some may be bound to the new one, others to the old one
    void Bind(const StreamType* type);

  private:
    struct Hash {
        std::size_t operator()(const StoredRule& rule) const { return rule.Hash(); }
    };

    std::unordered_set<StoredRule, Hash> rules;
};

}  // namespace velmora::core::tessaryn
