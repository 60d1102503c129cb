// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "entry_access.h"
#include "pybind.h"

#include <cstddef>
#include <vector>

namespace velmora::python {

/// The entries of a stream type by their names as Python objects.
///
/// The stream type must outlive it.
///
/// \threadsafety external: the GIL
class EntryTable {
  public:
    explicit EntryTable(const core::tessaryn::StreamType& type);

    const core::tessaryn::StreamType& GetType() const { return *type; }
    const std::vector<EntryAccess>& GetEntries() const { return entries; }
    py::str GetName(std::size_t id) const { return names[id]; }

    /// The entry of a name.
    /// \param expected an id that is tried first
    /// \throws PackageError EntryNotFoundError when there is none
    const EntryAccess& Find(py::handle name, std::size_t expected = 0) const;

    /// Sets the entries that a dictionary names.
    /// \throws as `Find` and `SetEntry`
    void SetEntries(core::tessaryn::Sample& sample, const py::dict& values) const;
    /// The values of a sample of the type by the entries' names.
    py::dict GetValues(const core::tessaryn::Sample& sample) const;

  private:
    const core::tessaryn::StreamType* type;
    std::vector<EntryAccess> entries;
    // Interned, like the names of keyword arguments.
    std::vector<py::str> names;
    py::dict ids;
};

}  // namespace velmora::python
