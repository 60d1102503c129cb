// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/callback_delegate.h"
#include "tessaryn/export.h"
#include "tessaryn/stream_subscription.h"

#include <memory>
#include <optional>

namespace velmora::core::tessaryn {

class ISubscriptionRule;
class Stream;

/// A subscription of a function that ends with this object:
///
///     const ScopedSubscription alarm(stream, rules::Expression("temperature > 8.0"),
///                                    [&](SubscriptionArgs& args) { Ring(*args.sample); });
///
/// It may outlive the stream, and be destroyed by its own function. Elsewhere, ending it waits for
/// a running notification; after that the function has been destroyed. So end it without holding a
/// lock that the function takes.
///
/// \threadsafety external; the function runs on the threads that change the stream
class TESSARYN_API ScopedSubscription {
  public:
    using Function = CallbackDelegate::Function;

    /// No subscription.
    ScopedSubscription() = default;
    /// Subscribes the function to the changes to which the rule applies.
    /// \throws std::invalid_argument when the rule is null or the function empty
    ScopedSubscription(Stream& stream, std::unique_ptr<ISubscriptionRule> rule, Function function);
    ScopedSubscription(ScopedSubscription&& other) noexcept;
    /// Ends this subscription, and takes the other one over.
    ScopedSubscription& operator=(ScopedSubscription&& other) noexcept;
    ~ScopedSubscription();

    /// Ends the subscription, if there is one.
    void Reset();

  private:
    Stream* stream = nullptr;
    // Expires when the stream's copies of the delegate have gone, with the stream or by `Clear`.
    std::weak_ptr<const Function> function;
    std::optional<StreamSubscription> key;
};

}  // namespace velmora::core::tessaryn
