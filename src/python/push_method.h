// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"
#include "stream_handle.h"

namespace velmora::python {

/// Adds the method `push`, which is called for each sample: it takes its arguments as the
/// interpreter has them, without a search for an overload.
void BindPush(py::class_<StreamHandle>& stream);

}  // namespace velmora::python
