// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/lock_order.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace velmora::core::tessaryn {

namespace {

// The records of a thread, the latest first.
thread_local const CheckedLockNote* innermost = nullptr;

const char* NameOf(LockRank rank) {
    static const char* const names[] = {"a stream repository", "a group of streams",
                                        "a stream's samples", "a stream's subscriptions",
                                        "a group of types"};
    return names[static_cast<std::size_t>(rank)];
}

bool IsWithin(const void* address, const void* begin, std::size_t extent) {
    const auto first = reinterpret_cast<std::uintptr_t>(begin);
    const auto inner = reinterpret_cast<std::uintptr_t>(address);
    return first <= inner && inner - first < extent;
}

}  // namespace

CheckedLockNote::CheckedLockNote(LockRank lockRank, const void* lockAddress, std::size_t extent)
    : rank(lockRank), lock(lockAddress), outer(innermost) {
    const CheckedLockNote* wrong = nullptr;
    for (const CheckedLockNote* held = outer; held != nullptr; held = held->outer) {
        // A thread may take a lock again that it holds, but a repository then locks its groups.
        if (held->rank == rank && held->lock == lock && rank != LockRank::streamRepository) {
            wrong = nullptr;
            break;
        }
        // The callbacks of one stream may use another.
        const bool isOfOtherStream = rank == LockRank::samples &&
                                     held->rank == LockRank::subscriptions &&
                                     !IsWithin(held->lock, lock, extent);
        if (held->rank > rank && !isOfOtherStream) {
            wrong = held;
        }
    }
    if (wrong != nullptr) {
        const std::string sentence = std::string("The lock of ") + NameOf(rank) +
                                     " was taken while that of " + NameOf(wrong->rank) +
                                     " was held, against the order of locks.";
        CheckContract(false, sentence.c_str());
    }
    innermost = this;
}

CheckedLockNote::~CheckedLockNote() {
    innermost = outer;
}

}  // namespace velmora::core::tessaryn
