// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"

#include <cstdint>
#include <optional>

namespace velmora::python {

/// Converts a Python object to a time in microseconds since the Unix epoch: a `datetime`, also that
/// of pandas, a `datetime64`, or a text in ISO 8601. Without a zone it is UTC.
/// \throws py::type_error for any other object
/// \throws py::value_error for a text that is not a timestamp, and for NaT
std::int64_t ToMicroseconds(py::handle time);

/// As above; nothing for None.
std::optional<std::int64_t> ToOptionalMicroseconds(py::handle time);

/// Converts a Python object to a duration in microseconds: a `timedelta`, also that of pandas, a
/// `timedelta64`, or a text with a number and a unit: "60s", "1.5h", "250 ms".
/// \throws py::type_error, py::value_error as above
std::int64_t ToSpan(py::handle span);

/// A `numpy.datetime64` in microseconds.
py::object FromMicroseconds(std::int64_t time);

}  // namespace velmora::python
