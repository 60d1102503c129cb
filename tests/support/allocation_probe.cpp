// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"

#include <array>
#include <cstdlib>
#include <execinfo.h>
#include <new>

namespace velmora::test {

namespace {

thread_local bool probing = false;
thread_local long count = 0;
thread_local long failing = -1;
thread_local std::size_t bytes = 0;
thread_local std::array<void*, 256> calls;
thread_local int numCalls = 0;

void* Allocate(std::size_t size) {
    if (probing) {
        bytes += size;
        if (count++ == failing) {
            numCalls = backtrace(calls.data(), static_cast<int>(calls.size()));
            throw std::bad_alloc();
        }
    }
    return std::malloc(size);
}

void* AllocateOrNull(std::size_t size) noexcept {
    try {
        return Allocate(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace

AllocationProbe::AllocationProbe(long failAt) {
    count = 0;
    bytes = 0;
    failing = failAt;
    numCalls = 0;
    probing = true;
}

AllocationProbe::~AllocationProbe() {
    probing = false;
}

long AllocationProbe::Count() {
    return count;
}

std::size_t AllocationProbe::Bytes() {
    return bytes;
}

std::span<void* const> AllocationProbe::CallsOfFailure() {
    return {calls.data(), static_cast<std::size_t>(numCalls)};
}

}  // namespace velmora::test

// clang-format off
void* operator new(std::size_t size) { return velmora::test::Allocate(size); }
void* operator new[](std::size_t size) { return velmora::test::Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return velmora::test::AllocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return velmora::test::AllocateOrNull(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
// clang-format on
