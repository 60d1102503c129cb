// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"
#include "stream_handle.h"

namespace velmora::python {

/// Adds the operations that push, change, remove and read samples.
void BindSamples(py::class_<StreamHandle>& stream);

}  // namespace velmora::python
