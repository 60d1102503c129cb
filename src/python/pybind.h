// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

// Included by every binding.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

namespace velmora::python {

namespace py = pybind11;

}  // namespace velmora::python
