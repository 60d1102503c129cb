// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <stdexcept>
#include <string>

namespace velmora::python {

/// A Python exception of the package's own that C++ throws by the name of its class in
/// `tessaryn.errors`. `RegisterErrors` has it, and the libraries' exceptions, raised.
///
/// \threadsafety immutable
class PackageError : public std::runtime_error {
  public:
    /// \param className of a class of `tessaryn.errors`, a literal
    PackageError(const char* className, const std::string& message)
        : std::runtime_error(message), className(className) {}

    const char* GetClassName() const { return className; }

  private:
    const char* className;
};

/// What is used has been removed from its repository, or its repository was closed.
/// \threadsafety immutable
class DeadReference : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Translates C++ exceptions into Python's.
void RegisterErrors();

/// Sets Python's error for the C++ exception that is being handled: for functions that Python calls
/// without bindings.
void SetPythonError();

}  // namespace velmora::python
