// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"
#include "stream_handle.h"

#include <cstdint>

namespace velmora::python {

/// Pushes rows given as columns, all or none.
/// \param times of the rows, in microseconds since the Unix epoch
/// \param columns pairs of an entry's name and its values: an array of the entry's own dtype, or a
/// list of objects that `SetEntry` accepts; each with as many rows as there are times
/// \throws as `EntryTable::SetEntries`, naming the row; nothing is pushed then
void PushColumns(const StreamHandle& handle,
                 const py::array_t<std::int64_t, py::array::c_style>& times,
                 const py::list& columns);

}  // namespace velmora::python
