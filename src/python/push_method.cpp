// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "push_method.h"

#include "call_gate.h"
#include "entry_value.h"
#include "errors.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "time_value.h"

#include <memory>
#include <optional>

namespace velmora::python {

using core::tessaryn::Sample;

namespace {

// The arguments of one call.
struct Arguments {
    PyObject* const* values;
    Py_ssize_t positional;
    // Names of the values that follow the positional ones; may be null.
    PyObject* names;

    Py_ssize_t CountNames() const { return names == nullptr ? 0 : PyTuple_GET_SIZE(names); }
    py::handle Name(Py_ssize_t i) const { return PyTuple_GET_ITEM(names, i); }
    py::handle Value(Py_ssize_t i) const { return values[positional + i]; }
};

bool IsTime(py::handle name) {
    return PyUnicode_CompareWithASCIIString(name.ptr(), "time") == 0;
}

// The given time, or else the time of the call.
Poco::Timestamp TimeOf(const Arguments& arguments) {
    for (Py_ssize_t i = 0; i < arguments.CountNames(); ++i) {
        if (IsTime(arguments.Name(i))) {
            const std::optional<std::int64_t> time = ToOptionalMicroseconds(arguments.Value(i));
            return time ? Poco::Timestamp(*time) : Poco::Timestamp();
        }
    }
    return Poco::Timestamp();
}

void Push(PyObject* self, const Arguments& arguments) {
    if (arguments.positional > 1) {
        throw py::type_error("push takes one mapping by position, not " +
                             std::to_string(arguments.positional) + " arguments");
    }
    const auto& handle = *reinterpret_cast<py::detail::instance*>(self)
                              ->get_value_and_holder()
                              .value_ptr<StreamHandle>();
    const Poco::Timestamp time = TimeOf(arguments);
    const PinnedStream stream(handle);
    const EntryTable& entries = stream.GetEntries();
    auto sample = std::make_unique<Sample>(stream->GetStreamType(), time);
    if (arguments.positional == 1 && !py::handle(arguments.values[0]).is_none()) {
        entries.SetEntries(*sample,
                           py::dict(py::reinterpret_borrow<py::object>(arguments.values[0])));
    }
    std::size_t expected = 0;
    for (Py_ssize_t i = 0; i < arguments.CountNames(); ++i) {
        if (!IsTime(arguments.Name(i))) {
            SetEntry(*sample, entries.Find(arguments.Name(i), expected++), arguments.Value(i));
        }
    }
    Unlocked([&] { stream->PushNew(sample.release()); });
}

PyObject* PushOrRaise(PyObject* self, PyObject* const* values, Py_ssize_t count, PyObject* names) {
    try {
        // An object that was not initialised has no handle.
        if (!reinterpret_cast<py::detail::instance*>(self)
                 ->get_value_and_holder()
                 .holder_constructed()) {
            throw py::type_error("the stream was not initialised");
        }
        Push(self, {values, count, names});
        Py_RETURN_NONE;
    } catch (...) {
        SetPythonError();
        return nullptr;
    }
}

PyObject* CallPush(PyObject* self, PyObject* const* values, Py_ssize_t count, PyObject* names) {
    CallGate& gate = GetCallGate();
    if (!gate.Enter()) {
        return nullptr;
    }
    PyObject* const result = PushOrRaise(self, values, count, names);
    gate.Leave();
    return result;
}

PyMethodDef pushMethod = {
    "push", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&CallPush)),
    METH_FASTCALL | METH_KEYWORDS,
    "push($self, values=None, /, *, time=None, **entries)\n--\n\n"
    "Push one sample.\n\n"
    "The entries come as keywords, or in a mapping: push(level=3.5) or push({\"level\": 3.5}).\n"
    "Those that are not given are zero or empty. The time is that of the call unless it is given;\n"
    "one without a zone is UTC."};

}  // namespace

void BindPush(py::class_<StreamHandle>& stream) {
    PyObject* const method =
        PyDescr_NewMethod(reinterpret_cast<PyTypeObject*>(stream.ptr()), &pushMethod);
    if (method == nullptr) {
        throw py::error_already_set();
    }
    stream.attr("push") = py::reinterpret_steal<py::object>(method);
}

}  // namespace velmora::python
