// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"

namespace velmora::python {

/// Documents and histories.
void BindStorage(py::module_& module);

}  // namespace velmora::python
