// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <atomic>

namespace velmora::test {

/// Base of a class whose objects are counted as long as they live.
template <class T>
struct LiveCount {
    LiveCount() { ++live; }
    LiveCount(const LiveCount&) { ++live; }
    LiveCount& operator=(const LiveCount&) = default;
    ~LiveCount() { --live; }

    static inline std::atomic<int> live = 0;
};

}  // namespace velmora::test
