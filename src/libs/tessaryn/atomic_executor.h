// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/Mutex.h>
#include <Poco/ScopedLock.h>

#include <functional>

namespace velmora::utils {

/// Gives an object one recursive mutex and runs work of the caller under it.
///
/// The lockable objects of the library derive from it and use the same mutex for their own
/// operations, so that work passed to `AtomicExecute` is serialised with them. Not copyable: a
/// mutex is not. `T` only gives each base a type of its own.
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
    /// that needs the object.
    /// \param work what to run
    /// \throws std::bad_function_call when `work` is empty; whatever `work` throws. The mutex is
    /// released in every case.
    void AtomicExecute(std::function<void()> work) {
        const Poco::ScopedLock<Poco::Mutex> lock(mutex);
        work();
    }

  protected:
    /// Recursive, for public operations call other public operations of the same object.
    mutable Poco::Mutex mutex;
};

}  // namespace velmora::utils
