// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstdio>
#include <cstdlib>

/// Checks of the host's obligations, in libraries built with the CMake option `VELMORA_CHECKED`. No
/// header that a host compiles depends on it: checked and other libraries are interchangeable.
namespace velmora::core::tessaryn {

#ifdef VELMORA_CHECKED
inline constexpr bool isChecked = true;
#else
inline constexpr bool isChecked = false;
#endif

/// Prints the message and aborts if the host has violated a contract; costs nothing unless checked.
inline void CheckContract([[maybe_unused]] bool isKept, [[maybe_unused]] const char* sentence) {
    if constexpr (isChecked) {
        if (!isKept) {
            std::fprintf(stderr, "velmora: %s\n", sentence);
            std::abort();
        }
    }
}

}  // namespace velmora::core::tessaryn
