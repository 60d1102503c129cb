// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"

#include <unistd.h>
#include <utility>

namespace velmora::python {

/// Releases the GIL while it exists. A thread that waits for a lock of the library must not hold
/// the GIL: the thread that holds the lock may be waiting for the GIL.
///
/// \threadsafety external
class GilRelease {
  public:
    GilRelease() : state(PyEval_SaveThread()) {}
    GilRelease(const GilRelease&) = delete;
    GilRelease& operator=(const GilRelease&) = delete;
    ~GilRelease() {
        try {
            PyEval_RestoreThread(state);
        } catch (...) {
            // The interpreter is ending and unwinds this thread, which would run destructors of
            // Python objects. The thread sleeps instead, until the process ends.
            for (;;) {
                ::pause();
            }
        }
    }

  private:
    PyThreadState* state;
};

/// Calls a function object without the GIL.
/// \pre the calling thread holds the GIL
/// \return the function object's result
template <class Work>
auto Unlocked(Work&& work) {
    const GilRelease release;
    return std::forward<Work>(work)();
}

/// Deletes an object without the GIL, whether or not the thread holds it: destroying a repository
/// takes locks.
///
/// \threadsafety immutable
struct UnlockedDelete {
    template <class T>
    void operator()(T* object) const {
        if (Py_IsInitialized() != 0 && PyGILState_Check() != 0) {
            const GilRelease release;
            delete object;
        } else {
            delete object;
        }
    }
};

}  // namespace velmora::python
