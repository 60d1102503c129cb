// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "call_gate.h"

namespace velmora::python {

namespace {

// The wrapper that the bindings call for every function.
PyCFunctionWithKeywords dispatch = nullptr;

PyObject* CallGuarded(PyObject* self, PyObject* arguments, PyObject* names) {
    CallGate& gate = GetCallGate();
    if (!gate.Enter()) {
        return nullptr;
    }
    PyObject* const result = dispatch(self, arguments, names);
    gate.Leave();
    return result;
}

void GuardFunction(py::handle function) {
    if (PyInstanceMethod_Check(function.ptr())) {
        function = PyInstanceMethod_Function(function.ptr());
    }
    if (!PyCFunction_CheckExact(function.ptr())) {
        return;
    }
    PyMethodDef& definition = *reinterpret_cast<PyCFunctionObject*>(function.ptr())->m_ml;
    const auto guarded = reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(&CallGuarded));
    if (definition.ml_flags == (METH_VARARGS | METH_KEYWORDS) && definition.ml_meth != guarded) {
        dispatch = reinterpret_cast<PyCFunctionWithKeywords>(
            reinterpret_cast<void (*)()>(definition.ml_meth));
        definition.ml_meth = guarded;
    }
}

void GuardAll(py::handle scope) {
    const py::object entries = scope.attr("__dict__").attr("copy")();
    for (const auto& [name, value] : py::reinterpret_borrow<py::dict>(entries)) {
        if (Py_IS_TYPE(value.ptr(), &PyProperty_Type)) {
            GuardFunction(value.attr("fget"));
        } else if (PyType_Check(value.ptr())) {
            GuardAll(value);
        } else {
            GuardFunction(value);
        }
    }
}

}  // namespace

void CallGate::Guard(const py::module_& module) {
    GuardAll(module);
}

bool CallGate::Enter() {
    if (isClosed && std::this_thread::get_id() != closer) {
        PyErr_SetNone(PyExc_SystemExit);
        return false;
    }
    ++underWay;
    return true;
}

void CallGate::Close() {
    isClosed = true;
    closer = std::this_thread::get_id();
}

void CallGate::Reset() {
    underWay = 1;
    isClosed = false;
}

CallGate& GetCallGate() {
    static CallGate gate;
    return gate;
}

}  // namespace velmora::python
