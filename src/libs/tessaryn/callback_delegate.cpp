// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/callback_delegate.h"

#include <stdexcept>
#include <utility>

namespace velmora::core::tessaryn {

CallbackDelegate::CallbackDelegate(Function function)
    : function(std::make_shared<const Function>(std::move(function))),
      identity(this->function.get()) {
    if (*this->function == nullptr) {
        throw std::invalid_argument("A delegate cannot call an empty function.");
    }
}

// A key, which does not keep the function alive. The weak pointer keeps its address from being
// reused.
CallbackDelegate::CallbackDelegate(const std::weak_ptr<const Function>& function)
    : identity(function.lock().get()) {}

CallbackDelegate::CallbackDelegate(const CallbackDelegate& other)
    : Poco::AbstractDelegate<SubscriptionArgs>(other),
      function(other.function),
      identity(other.identity),
      isEnabled(other.isEnabled.load()) {}

CallbackDelegate::~CallbackDelegate() = default;

bool CallbackDelegate::notify(const void* /*sender*/, SubscriptionArgs& args) {
    if (!isEnabled) {
        return false;
    }
    (*function)(args);
    return true;
}

bool CallbackDelegate::equals(const Poco::AbstractDelegate<SubscriptionArgs>& other) const {
    const auto* const same = dynamic_cast<const CallbackDelegate*>(other.unwrap());
    return same != nullptr && same->identity == identity;
}

CallbackDelegate* CallbackDelegate::clone() const {
    return new CallbackDelegate(*this);
}

void CallbackDelegate::disable() {
    isEnabled = false;
}

}  // namespace velmora::core::tessaryn
