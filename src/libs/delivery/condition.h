// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/export.h"
#include "tessaryn/subscription_args.h"

#include <Poco/Timestamp.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace velmora::delivery {

/// Receives the changes that pass a condition.
///
/// \threadsafety external
class DELIVERY_API Sink {
  public:
    virtual ~Sink();
    /// \param change copied before this returns
    virtual void Emit(core::tessaryn::SubscriptionArgs& change) = 0;
};

/// Decides which changes pass, depending on earlier ones.
///
/// Conditions work in event time: only the samples' timestamps count, which never decrease from one
/// call to the next (see `ConditionChain`). They run on the pusher's thread with the stream locked,
/// so they must not take long.
///
/// \threadsafety external: the delivery locks; each delivery has a condition of its own
class DELIVERY_API Condition {
  public:
    virtual ~Condition();
    /// Emits the change, another one in its place, or nothing.
    /// \param change of a pushed or changed sample
    virtual void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink) = 0;
    /// Emits changes that are held back and due.
    /// \param now the latest time that counts as past
    virtual void Flush(const Poco::Timestamp& now, Sink& sink);
    /// A copy with the same state.
    virtual std::unique_ptr<Condition> Clone() const = 0;

  protected:
    Condition() = default;
    Condition(const Condition&) = default;
    Condition& operator=(const Condition&) = default;
};

/// `Clone` for a condition with a copy constructor.
template <class Derived>
class CloneableCondition : public Condition {
  public:
    std::unique_ptr<Condition> Clone() const override {
        return std::make_unique<Derived>(static_cast<const Derived&>(*this));
    }
};

/// A chain of conditions: each receives the changes that pass the one before.
///
/// A sample whose time lies before the latest one seen is late: it is counted, but neither
/// evaluated nor delivered. Samples of equal time are not late. Removed samples (`popped`) neither
/// pass nor count as seen. An empty chain lets everything through, late and removed samples
/// included.
///
/// \threadsafety external: the delivery locks
class DELIVERY_API ConditionChain {
  public:
    ConditionChain();
    /// A chain of one.
    template <std::derived_from<Condition> C>
    // NOLINTNEXTLINE(google-explicit-constructor): a condition converts to a chain of one
    ConditionChain(C condition) {
        stages.push_back(std::make_unique<C>(std::move(condition)));
    }
    ConditionChain(const ConditionChain& other);
    ConditionChain(ConditionChain&&) noexcept;
    ConditionChain& operator=(ConditionChain other) noexcept;
    ~ConditionChain();

    /// This chain, then another.
    ConditionChain Then(const ConditionChain& next) const;

    bool IsEmpty() const { return stages.empty(); }
    /// Gives a change to the first condition.
    /// \param sink receives the changes that pass the last one
    void Process(core::tessaryn::SubscriptionArgs& change, Sink& sink);
    /// Lets each condition, in order, emit the changes that it holds back and that are due.
    /// \param now the latest time that counts as past
    void Flush(const Poco::Timestamp& now, Sink& sink);
    /// Number of late samples.
    std::uint64_t GetLate() const { return late; }

  private:
    class Link;

    void ProcessFrom(std::size_t stage, core::tessaryn::SubscriptionArgs& change, Sink& sink);

    std::vector<std::unique_ptr<Condition>> stages;
    Poco::Timestamp newest = Poco::Timestamp::TIMEVAL_MIN;
    std::uint64_t late = 0;
};

/// The first chain, then the second: `OnChange("state") | MinInterval(10s)`.
inline ConditionChain operator|(const ConditionChain& first, const ConditionChain& second) {
    return first.Then(second);
}

}  // namespace velmora::delivery
