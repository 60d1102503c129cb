// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "errors.h"

#include "pybind.h"
#include "tessaryn/errors.h"
#include "tessaryn/rule_syntax_exception.h"

#include <Poco/Exception.h>

#include <exception>

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

void Raise(const char* name, const char* message) {
    PyErr_SetString(ErrorClass(name).ptr(), message);
}

void RaiseSyntaxError(const RuleSyntaxException& error) {
    const core::tessaryn::TextSpan span = error.GetSpan();
    const py::object value =
        ErrorClass("RuleSyntaxError")(error.message(), span.offset, span.length, error.GetHint());
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(value.ptr())), value.ptr());
}

void Translate(std::exception_ptr thrown) {
    try {
        std::rethrow_exception(thrown);
    } catch (const PackageError& error) {
        Raise(error.GetClassName(), error.what());
    } catch (const DeadReference& error) {
        PyErr_SetString(PyExc_ReferenceError, error.what());
    } catch (const RuleSyntaxException& error) {
        RaiseSyntaxError(error);
    } catch (const TypeMismatchException& error) {
        PyErr_SetString(PyExc_TypeError, error.what());
    } catch (const EntryNotFoundException& error) {
        Raise("EntryNotFoundError", error.what());
    } catch (const ItemNotFoundException& error) {
        Raise("PathNotFoundError", error.what());
    } catch (const GroupNotFoundException& error) {
        Raise("PathNotFoundError", error.what());
    } catch (const utils::VersionedObjectNotFoundException& error) {
        Raise("VersionNotFoundError", error.what());
    } catch (const utils::VersionedObjectAlreadyExistsException& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (const utils::WrongVersionException& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (const ::BaseException& error) {
        Raise("TessarynError", error.what());
    } catch (const Poco::Exception& error) {
        Raise("TessarynError", error.displayText().c_str());
    }
}

}  // namespace

void RegisterErrors() {
    py::register_exception_translator(Translate);
}

}  // namespace velmora::python
