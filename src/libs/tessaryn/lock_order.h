// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/checked.h"

#include <Poco/Mutex.h>
#include <Poco/ScopedLock.h>

#include <cstddef>
#include <type_traits>

namespace velmora::core::tessaryn {

/// The locks of the library in the order in which a thread takes them (docs/locking.md).
enum class LockRank { streamRepository, streamGroup, samples, subscriptions, typeGroup };

/// Records, while it exists, that the calling thread holds a lock or uses an operation that takes
/// it.
///
/// Locks that the host holds through `AtomicExecute` are not recorded.
class CheckedLockNote {
  public:
    /// Aborts with a message when the thread holds a lock that comes later in the order.
    /// \param lockAddress distinguishes the locks of one rank
    /// \param extent bytes from there on in which other locks of the same object may lie
    CheckedLockNote(LockRank lockRank, const void* lockAddress, std::size_t extent = 0);
    CheckedLockNote(const CheckedLockNote&) = delete;
    CheckedLockNote& operator=(const CheckedLockNote&) = delete;
    ~CheckedLockNote();

  private:
    LockRank rank;
    const void* lock;
    const CheckedLockNote* outer;
};

struct UncheckedLockNote {
    UncheckedLockNote(LockRank /*rank*/, const void* /*lock*/, std::size_t /*extent*/ = 0) {}
};

using LockNote = std::conditional_t<isChecked, CheckedLockNote, UncheckedLockNote>;

/// Holds a lock whose rank is checked.
template <LockRank rank, std::size_t extent = 0>
class OrderedLock {
  public:
    explicit OrderedLock(Poco::Mutex& mutex) : note(rank, &mutex, extent), lock(mutex) {}

  private:
    [[no_unique_address]] const LockNote note;
    const Poco::ScopedLock<Poco::Mutex> lock;
};

/// An object whose operations take locks from this rank on, for the length of one expression.
template <LockRank rank, class Object>
class LockingUse {
  public:
    explicit LockingUse(Object& usedObject) : note(rank, &usedObject), object(usedObject) {}
    Object* operator->() const { return &object; }

  private:
    [[no_unique_address]] const LockNote note;
    Object& object;
};

}  // namespace velmora::core::tessaryn
