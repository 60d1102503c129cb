// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"

namespace velmora::python {

/// Adds the classes of rules and findings.
void BindRules(py::module_& module);

}  // namespace velmora::python
