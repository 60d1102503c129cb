// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"

#include <thread>

namespace velmora::python {

/// Guards every call from Python into this module.
///
/// When the interpreter ends, it unwinds other threads where they next acquire the GIL. In a thread
/// that is inside a function of this module, that would run destructors of Python objects without
/// the GIL; a thread inside the library would continue while the process destroys it. Therefore the
/// end of the interpreter waits until no call is running, and refuses new ones.
///
/// \threadsafety external: needs the GIL
class CallGate {
  public:
    CallGate() = default;
    CallGate(const CallGate&) = delete;
    CallGate& operator=(const CallGate&) = delete;

    /// Wraps all functions of a module and its classes; the gate must live as long as they do.
    void Guard(const py::module_& module);

    /// Begins a call.
    /// \return false, with SystemExit set, in all threads but one after `Close`
    bool Enter();
    /// Ends a call.
    void Leave() { --underWay; }

    /// Refuses calls of other threads from now on. SystemExit ends a thread without a message.
    void Close();
    /// Must be called in the child of a fork, by its only thread.
    void Reset();
    /// The number of running calls.
    unsigned int CountUnderWay() const { return underWay; }

  private:
    unsigned int underWay = 0;
    bool isClosed = false;
    std::thread::id closer;
};

/// The gate of this module.
/// \return \ownership lends: lives as long as the process
CallGate& GetCallGate();

}  // namespace velmora::python
