// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"

#include <thread>

namespace velmora::python {

/// What every call of Python into this module passes.
///
/// An interpreter that ends stops its other threads by unwinding them, where they next run code of
/// Python. That would run destructors of Python objects without the GIL in a thread that is within
/// a function of this module, and leave one within the library running while the process takes
/// it down. So the end waits until no call is under way, and refuses others.
///
/// \threadsafety external: needs the GIL
class CallGate {
  public:
    CallGate() = default;
    CallGate(const CallGate&) = delete;
    CallGate& operator=(const CallGate&) = delete;

    /// Has all functions of a module and its classes pass this gate, which exists as long as they.
    void Guard(const py::module_& module);

    /// Begins a call.
    /// \return false, with SystemExit set, in all threads but one after `Close`
    bool Enter();
    /// Ends a call.
    void Leave() { --underWay; }

    /// Refuses calls of other threads from now on. SystemExit ends a thread without a message.
    void Close();
    /// To be called in the child of a fork, by the only thread that there is.
    void Reset();
    /// The calls that have begun and not ended.
    unsigned int CountUnderWay() const { return underWay; }

  private:
    unsigned int underWay = 0;
    bool isClosed = false;
    std::thread::id closer;
};

/// The gate of this module.
/// \return \ownership lends: for ever
CallGate& GetCallGate();

}  // namespace velmora::python
