// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "time_value.h"

#include <string>

namespace velmora::python {

namespace {

py::object Converted(const char* function, py::handle value) {
    return py::module_::import("tessaryn._tables").attr(function)(value);
}

}  // namespace

std::int64_t ToMicroseconds(py::handle time) {
    return Converted("microseconds", time).cast<std::int64_t>();
}

std::optional<std::int64_t> ToOptionalMicroseconds(py::handle time) {
    return time.is_none() ? std::nullopt : std::optional(ToMicroseconds(time));
}

std::int64_t ToSpan(py::handle span) {
    return Converted("span_microseconds", span).cast<std::int64_t>();
}

py::object FromMicroseconds(std::int64_t time) {
    return py::module_::import("numpy").attr("datetime64")(time, "us");
}

}  // namespace velmora::python
