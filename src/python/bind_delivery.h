// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"

namespace velmora::python {

/// Subscriptions and their conditions.
void BindDelivery(py::module_& module);

}  // namespace velmora::python
