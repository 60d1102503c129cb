// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "errors.h"

#include "entry_value.h"
#include "pybind.h"
#include "tessaryn/errors.h"
#include "tessaryn/rule_syntax_exception.h"

#include <Poco/Exception.h>

#include <exception>
#include <new>
#include <stdexcept>

namespace velmora::python {

using core::tessaryn::EntryNotFoundException;
using core::tessaryn::GroupNotFoundException;
using core::tessaryn::ItemNotFoundException;
using core::tessaryn::RuleSyntaxException;
using core::tessaryn::TypeMismatchException;

namespace {

py::object ErrorClass(const char* name) {
    return py::module_::import("tessaryn.errors").attr(name);
}

// Messages may quote texts that are not UTF-8.
void Raise(py::handle kind, const char* message) {
    PyErr_SetObject(kind.ptr(), ToText(message).ptr());
}

void Raise(const char* name, const char* message) {
    Raise(ErrorClass(name), message);
}

void RaiseSyntaxError(const RuleSyntaxException& error) {
    const core::tessaryn::TextSpan span = error.GetSpan();
    const py::object value = ErrorClass("RuleSyntaxError")(ToText(error.message()), span.offset,
                                                           span.length, ToText(error.GetHint()));
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(value.ptr())), value.ptr());
}

void Translate(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const PackageError& error) {
        Raise(error.GetClassName(), error.what());
    } catch (const DeadReference& error) {
        Raise(py::handle(PyExc_ReferenceError), error.what());
    } catch (const RuleSyntaxException& error) {
        RaiseSyntaxError(error);
    } catch (const TypeMismatchException& error) {
        Raise(py::handle(PyExc_TypeError), error.what());
    } catch (const EntryNotFoundException& error) {
        Raise("EntryNotFoundError", error.what());
    } catch (const ItemNotFoundException& error) {
        Raise("PathNotFoundError", error.what());
    } catch (const GroupNotFoundException& error) {
        Raise("PathNotFoundError", error.what());
    } catch (const utils::VersionedObjectNotFoundException& error) {
        Raise("VersionNotFoundError", error.what());
    } catch (const utils::VersionedObjectAlreadyExistsException& error) {
        Raise(py::handle(PyExc_ValueError), error.what());
    } catch (const utils::WrongVersionException& error) {
        Raise(py::handle(PyExc_ValueError), error.what());
    } catch (const std::invalid_argument& error) {
        Raise(py::handle(PyExc_ValueError), error.what());
    } catch (const ::BaseException& error) {
        Raise("TessarynError", error.what());
    } catch (const Poco::Exception& error) {
        Raise("TessarynError", error.displayText().c_str());
    }
}

// As pybind11 translates them.
void TranslateStandard(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (py::error_already_set& error) {
        error.restore();
    } catch (const py::builtin_exception& error) {
        error.set_error();
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
    } catch (const std::length_error& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (const std::out_of_range& error) {
        PyErr_SetString(PyExc_IndexError, error.what());
    } catch (const std::exception& error) {
        PyErr_SetString(PyExc_RuntimeError, error.what());
    } catch (...) {
        PyErr_SetString(PyExc_RuntimeError, "an unknown exception was thrown");
    }
}

}  // namespace

void SetPythonError() {
    const std::exception_ptr thrown = std::current_exception();
    try {
        Translate(thrown);
    } catch (...) {
        TranslateStandard(thrown);
    }
}

void RegisterErrors() {
    py::register_exception_translator(Translate);
}

}  // namespace velmora::python
