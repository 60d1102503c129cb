// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "time_value.h"

#include <datetime.h>

// Python's macros for the fields of a datetime are casts.
#pragma GCC diagnostic ignored "-Wold-style-cast"

namespace velmora::python {

namespace {

// A function that is written in Python. It is looked up once, and never released: the interpreter
// may end before this module does.
py::handle Function(PyObject*& cache, const char* name) {
    if (cache == nullptr) {
        cache = py::object(py::module_::import("tessaryn._tables").attr(name)).release().ptr();
    }
    return cache;
}

// Days from the Unix epoch to a day of the Gregorian calendar.
std::int64_t DaysTo(int year, int month, int day) {
    // Counts years from March, so that the leap day is the last day.
    const std::int64_t y = month > 2 ? year : year - 1;
    const std::int64_t monthFromMarch = (month + 9) % 12;
    const std::int64_t dayOfYear = (153 * monthFromMarch + 2) / 5 + day - 1;
    constexpr std::int64_t daysToEpoch = 719468;
    return 365 * y + y / 4 - y / 100 + y / 400 + dayOfYear - daysToEpoch;
}

std::int64_t OfDatetime(PyObject* time) {
    const std::int64_t days =
        DaysTo(PyDateTime_GET_YEAR(time), PyDateTime_GET_MONTH(time), PyDateTime_GET_DAY(time));
    const std::int64_t minutes =
        (days * 24 + PyDateTime_DATE_GET_HOUR(time)) * 60 + PyDateTime_DATE_GET_MINUTE(time);
    return (minutes * 60 + PyDateTime_DATE_GET_SECOND(time)) * 1'000'000 +
           PyDateTime_DATE_GET_MICROSECOND(time);
}

}  // namespace

std::int64_t ToMicroseconds(py::handle time) {
    if (PyDateTimeAPI == nullptr) {
        PyDateTime_IMPORT;
    }
    // A derived class may have another meaning.
    if (PyDateTime_CheckExact(time.ptr())) {
        PyObject* const zone = PyDateTime_DATE_GET_TZINFO(time.ptr());
        if (zone == Py_None || zone == PyDateTime_TimeZone_UTC) {
            return OfDatetime(time.ptr());
        }
    }
    static PyObject* function = nullptr;
    return Function(function, "microseconds")(time).cast<std::int64_t>();
}

std::optional<std::int64_t> ToOptionalMicroseconds(py::handle time) {
    return time.is_none() ? std::nullopt : std::optional(ToMicroseconds(time));
}

std::int64_t ToSpan(py::handle span) {
    static PyObject* function = nullptr;
    return Function(function, "span_microseconds")(span).cast<std::int64_t>();
}

py::object FromMicroseconds(std::int64_t time) {
    static PyObject* function = nullptr;
    return Function(function, "datetime64_of")(time);
}

}  // namespace velmora::python
