// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <stdexcept>
#include <string>

namespace velmora::python {

/// Thrown in C++ to raise the exception of the given name in `tessaryn.errors`. `RegisterErrors`
/// installs the translation of this and of the libraries' exceptions.
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

/// An object was used after it was removed from its repository, or the repository was closed.
/// \threadsafety immutable
class DeadReference : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Translates C++ exceptions into Python's.
void RegisterErrors();

/// Sets Python's error from the C++ exception that is being handled, for functions that Python
/// calls without pybind11.
void SetPythonError();

}  // namespace velmora::python
