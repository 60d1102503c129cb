// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <exception>
#include <string>
#include <typeinfo>
#include <utility>

namespace velmora::test {

/// The message of the exception that an action throws, if it is exactly an `E`; else what came
/// in its place.
template <class E, class Action>
std::string MessageOf(Action&& action) {
    try {
        std::forward<Action>(action)();
    } catch (const E& exception) {
        return typeid(exception) == typeid(E) ? exception.what() : "a class derived from it";
    } catch (const std::exception& exception) {
        return std::string("another exception: ") + exception.what();
    }
    return "nothing was thrown";
}

}  // namespace velmora::test
