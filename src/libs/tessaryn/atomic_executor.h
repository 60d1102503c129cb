// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/Mutex.h>
#include <Poco/ScopedLock.h>

#include <functional>

namespace velmora::utils {

/// Gives an object a recursive mutex, and runs functions of the caller while it is locked.
///
/// Streams, groups and repositories derive from it and lock the same mutex in their own operations,
/// so that work passed to `AtomicExecute` is serialised with them. `T` is not used: it makes the
/// bases of different classes different types.
///
/// \threadsafety guarded
template <class T>
class AtomicExecutor {
  public:
    AtomicExecutor() = default;
    AtomicExecutor(const AtomicExecutor&) = delete;
    AtomicExecutor& operator=(const AtomicExecutor&) = delete;

    /// Runs `work` while the object's mutex is held; the calling thread may hold it already.
    ///
    /// `work` may call every operation of the same object. It must not wait for another thread
    /// that locks the object.
    /// \throws std::bad_function_call when `work` is empty; whatever `work` throws. The mutex is
    /// released in every case.
    void AtomicExecute(std::function<void()> work) {
        const Poco::ScopedLock<Poco::Mutex> lock(mutex);
        work();
    }

  protected:
    /// Recursive, since public operations of an object call each other.
    mutable Poco::Mutex mutex;
};

}  // namespace velmora::utils
