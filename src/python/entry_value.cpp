// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "entry_value.h"

#include "errors.h"
#include "missing_entry.h"
#include "tessaryn/field.h"
#include "tessaryn/sample.h"
#include "tessaryn/visit_type.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

namespace velmora::python {

using core::tessaryn::BaseType;
using core::tessaryn::Field;
using core::tessaryn::Sample;
using core::tessaryn::SampleEntry;
using core::tessaryn::StreamType;

namespace {

bool IsBool(py::handle value) {
    if (PyBool_Check(value.ptr())) {
        return true;
    }
    const char* const name = Py_TYPE(value.ptr())->tp_name;
    return std::strcmp(name, "numpy.bool_") == 0 || std::strcmp(name, "numpy.bool") == 0;
}

void Check(bool isGood) {
    if (!isGood) {
        throw py::error_already_set();
    }
}

[[noreturn]] void RaiseOverflow(py::handle value, BaseType type) {
    PyErr_Format(PyExc_OverflowError, "%R does not fit %s", value.ptr(), ToString(type).c_str());
    throw py::error_already_set();
}

template <class T>
T ToInteger(py::handle value) {
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    Check(index.ptr() != nullptr);
    if constexpr (std::is_signed_v<T>) {
        int overflow = 0;
        const long long number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
        Check(number != -1 || PyErr_Occurred() == nullptr);
        if (overflow != 0 || number < std::numeric_limits<T>::min() ||
            number > std::numeric_limits<T>::max()) {
            RaiseOverflow(value, core::tessaryn::GetBaseType<T>());
        }
        return static_cast<T>(number);
    } else {
        const unsigned long long number = PyLong_AsUnsignedLongLong(index.ptr());
        if (PyErr_Occurred() != nullptr) {
            PyErr_Clear();
            RaiseOverflow(value, core::tessaryn::GetBaseType<T>());
        }
        if (number > std::numeric_limits<T>::max()) {
            RaiseOverflow(value, core::tessaryn::GetBaseType<T>());
        }
        return static_cast<T>(number);
    }
}

template <class T>
T ToNumber(py::handle value) {
    if constexpr (std::is_same_v<T, bool>) {
        if (!IsBool(value)) {
            PyErr_Format(PyExc_TypeError, "a bool is needed, not %R", value.ptr());
            throw py::error_already_set();
        }
        return PyObject_IsTrue(value.ptr()) == 1;
    } else if constexpr (std::is_floating_point_v<T>) {
        const double number = PyFloat_AsDouble(value.ptr());
        Check(number != -1.0 || PyErr_Occurred() == nullptr);
        const T result = static_cast<T>(number);
        if (std::isinf(result) && !std::isinf(number)) {
            RaiseOverflow(value, core::tessaryn::GetBaseType<T>());
        }
        return result;
    } else {
        return ToInteger<T>(value);
    }
}

template <class T>
void SetNumbers(Sample& sample, const StreamType& type, unsigned short id, py::handle value,
                unsigned int size) {
    const Field<T> field(type, id);
    if (size == 1) {
        field.SetKeepingTime(sample, ToNumber<T>(value));
        return;
    }
    const auto items = py::reinterpret_steal<py::object>(
        PySequence_Fast(value.ptr(), "a sequence or an array is needed"));
    Check(items.ptr() != nullptr);
    const auto count = static_cast<std::size_t>(PySequence_Fast_GET_SIZE(items.ptr()));
    if (size == 0) {
        sample.Resize(id, static_cast<unsigned int>(count));
    } else if (count != size) {
        throw py::value_error("expected " + std::to_string(size) + " elements, not " +
                              std::to_string(count));
    }
    for (std::size_t i = 0; i < count; ++i) {
        PyObject* const item = PySequence_Fast_GET_ITEM(items.ptr(), static_cast<Py_ssize_t>(i));
        field.SetKeepingTime(sample, static_cast<unsigned int>(i), ToNumber<T>(item));
    }
}

void SetValue(Sample& sample, const StreamType& type, unsigned short id, py::handle value) {
    VisitType(type.GetType(id), [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_same_v<T, std::string>) {
            Field<T>(type, id).SetKeepingTime(sample, ToBytes(value));
        } else if constexpr (!std::is_void_v<T>) {
            SetNumbers<T>(sample, type, id, value, type.GetEntry(id).initialSize);
        }
    });
}

template <class T>
py::object NumbersOf(const Sample& sample, const StreamType& type, unsigned short id) {
    const Field<T> field(type, id);
    const std::size_t size = field.GetSize(sample);
    if (size == 1 && type.GetEntry(id).initialSize == 1) {
        const T value = field(sample);
        if constexpr (std::is_same_v<T, char>) {
            return py::int_(static_cast<int>(static_cast<signed char>(value)));
        } else {
            return py::cast(value);
        }
    }
    py::array result(py::dtype(DtypeName(core::tessaryn::GetBaseType<T>())), size);
    auto* const out = static_cast<T*>(result.mutable_data());
    for (std::size_t i = 0; i < size; ++i) {
        out[i] = field(sample, static_cast<unsigned int>(i));
    }
    return result;
}

}  // namespace

void SetEntry(Sample& sample, const StreamType& type, unsigned short id, py::handle value) {
    try {
        SetValue(sample, type, id, value);
    } catch (py::error_already_set& error) {
        const std::string what = "entry '" + type.GetEntry(id).key + "': ";
        const auto text = py::reinterpret_steal<py::str>(PyObject_Str(error.value().ptr()));
        const py::object raised = error.type();
        const bool isKnown =
            raised.is(py::handle(PyExc_TypeError)) || raised.is(py::handle(PyExc_OverflowError));
        if (!isKnown || text.ptr() == nullptr) {
            throw;
        }
        PyErr_SetString(raised.ptr(), (what + static_cast<std::string>(text)).c_str());
        throw py::error_already_set();
    } catch (const py::value_error& error) {
        throw py::value_error("entry '" + type.GetEntry(id).key + "': " + error.what());
    }
}

void SetEntries(Sample& sample, const StreamType& type, py::handle values) {
    for (const auto& [name, value] : py::reinterpret_borrow<py::dict>(values)) {
        const std::string key = ToBytes(name);
        if (!type.EntryExists(key)) {
            throw PackageError("EntryNotFoundError", DescribeMissingEntry(type, key));
        }
        SetEntry(sample, type, type.EntryId(key), value);
    }
}

py::object GetEntry(const Sample& sample, const StreamType& type, unsigned short id) {
    return VisitType(type.GetType(id), [&]<class T>(std::type_identity<T>) -> py::object {
        if constexpr (std::is_same_v<T, std::string>) {
            return ToText(Field<T>(type, id)(sample));
        } else if constexpr (!std::is_void_v<T>) {
            return NumbersOf<T>(sample, type, id);
        } else {
            return py::none();
        }
    });
}

py::str ToText(std::string_view bytes) {
    PyObject* const text = PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()),
                                                "surrogateescape");
    Check(text != nullptr);
    return py::reinterpret_steal<py::str>(text);
}

std::string ToBytes(py::handle text) {
    if (PyBytes_Check(text.ptr())) {
        return std::string(py::reinterpret_borrow<py::bytes>(text));
    }
    if (!PyUnicode_Check(text.ptr())) {
        PyErr_Format(PyExc_TypeError, "a str is needed, not %R", text.ptr());
        throw py::error_already_set();
    }
    const auto bytes = py::reinterpret_steal<py::object>(
        PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogateescape"));
    Check(bytes.ptr() != nullptr);
    return std::string(py::reinterpret_borrow<py::bytes>(bytes));
}

const char* DtypeName(BaseType type) {
    constexpr const char* names[] = {"object",  "int8",   "int16",  "int32",  "int64",
                                     "uint8",   "uint16", "uint32", "uint64", "float32",
                                     "float64", "bool",   "object"};
    return names[type <= core::tessaryn::String ? type : 0];
}

}  // namespace velmora::python
