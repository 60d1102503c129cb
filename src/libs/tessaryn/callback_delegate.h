// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/subscription_args.h"

#include <Poco/AbstractDelegate.h>

#include <atomic>
#include <functional>
#include <memory>

namespace velmora::core::tessaryn {

/// A delegate that calls a function object, such as a lambda with captures.
///
/// Copies call the same function object, which lives as long as one of them, and equal each other
/// and no other delegate: keep one for `Stream::Unsubscribe`, or use `ScopedSubscription`.
///
/// \threadsafety immutable, but for `disable`, which any thread may call at any time
class TESSARYN_API CallbackDelegate final : public Poco::AbstractDelegate<SubscriptionArgs> {
  public:
    using Function = std::function<void(SubscriptionArgs&)>;

    /// \throws std::invalid_argument when the function is empty
    explicit CallbackDelegate(Function function);
    CallbackDelegate(const CallbackDelegate& other);
    CallbackDelegate& operator=(const CallbackDelegate&) = delete;
    ~CallbackDelegate() override;

    /// Calls the function, but not after `disable`.
    /// \return whether it was called
    /// \throws what the function throws
    bool notify(const void* sender, SubscriptionArgs& args) override;
    /// Whether the other one is a copy of this one, or of the same source.
    bool equals(const Poco::AbstractDelegate<SubscriptionArgs>& other) const override;
    /// \return \ownership gives
    CallbackDelegate* clone() const override;
    /// Stops this delegate, not its copies.
    void disable() override;

  private:
    friend class ScopedSubscription;

    explicit CallbackDelegate(const std::weak_ptr<const Function>& function);

    // Null in a key, which only compares.
    std::shared_ptr<const Function> function;
    const Function* identity;
    std::atomic<bool> isEnabled = true;
};

}  // namespace velmora::core::tessaryn
