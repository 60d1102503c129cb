// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"

#include <cstdint>
#include <optional>

namespace velmora::python {

/// The time that a Python object means, in microseconds since the Unix epoch: a `datetime`, also
/// one of pandas, a `datetime64`, or a text in ISO 8601. One without a zone is UTC.
/// \throws py::type_error for any other object
/// \throws py::value_error for a text that is no time, and for "not a time"
std::int64_t ToMicroseconds(py::handle time);

/// As above; nothing for None.
std::optional<std::int64_t> ToOptionalMicroseconds(py::handle time);

/// The length of time that a Python object means, in microseconds: a `timedelta`, also one of
/// pandas, a `timedelta64`, or a text of a number and a unit: "60s", "1.5h", "250 ms".
/// \throws py::type_error, py::value_error as above
std::int64_t ToSpan(py::handle span);

/// A `numpy.datetime64` in microseconds.
py::object FromMicroseconds(std::int64_t time);

}  // namespace velmora::python
