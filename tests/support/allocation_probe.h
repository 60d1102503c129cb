// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <span>

namespace velmora::test {

/// Counts the allocations of the thread that makes it, and can let one of them fail.
///
/// Programs that use it compile `allocation_probe.cpp`, which replaces operator new.
class AllocationProbe {
  public:
    /// \param failAt number of the allocation, from 0, that throws `std::bad_alloc`
    explicit AllocationProbe(long failAt = -1);
    AllocationProbe(const AllocationProbe&) = delete;
    AllocationProbe& operator=(const AllocationProbe&) = delete;
    ~AllocationProbe();

    /// Allocations since the probe was made, the failed one included.
    static long Count();
    /// Bytes of these allocations in all, those freed meanwhile included.
    static std::size_t Bytes();
    /// Return addresses of the calls that led to the failed allocation; empty when none has failed.
    static std::span<void* const> CallsOfFailure();
};

}  // namespace velmora::test
