// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "entry_value.h"

#include "tessaryn/sample.h"
#include "tessaryn/visit_type.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

namespace velmora::python {

using core::tessaryn::BaseType;
using core::tessaryn::Sample;

namespace {

void Check(bool isGood) {
    if (!isGood) {
        throw py::error_already_set();
    }
}

[[noreturn]] void RaiseOverflow(py::handle value, BaseType type) {
    PyErr_Format(PyExc_OverflowError, "%R does not fit %s", value.ptr(), ToString(type).c_str());
    throw py::error_already_set();
}

bool IsBool(py::handle value) {
    if (PyBool_Check(value.ptr())) {
        return true;
    }
    const char* const name = Py_TYPE(value.ptr())->tp_name;
    return std::strcmp(name, "numpy.bool_") == 0 || std::strcmp(name, "numpy.bool") == 0;
}

bool ToBool(py::handle value) {
    if (!IsBool(value)) {
        PyErr_Format(PyExc_TypeError, "a bool is needed, not %R", value.ptr());
        throw py::error_already_set();
    }
    return PyObject_IsTrue(value.ptr()) == 1;
}

std::int64_t ToSigned(py::handle value, BaseType type, std::int64_t lowest, std::int64_t highest) {
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    Check(index.ptr() != nullptr);
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(index.ptr(), &overflow);
    Check(number != -1 || PyErr_Occurred() == nullptr);
    if (overflow != 0 || number < lowest || number > highest) {
        RaiseOverflow(value, type);
    }
    return number;
}

std::uint64_t ToUnsigned(py::handle value, BaseType type, std::uint64_t highest) {
    const auto index = py::reinterpret_steal<py::object>(PyNumber_Index(value.ptr()));
    Check(index.ptr() != nullptr);
    const unsigned long long number = PyLong_AsUnsignedLongLong(index.ptr());
    const bool isWrong = PyErr_Occurred() != nullptr;
    PyErr_Clear();
    if (isWrong || number > highest) {
        RaiseOverflow(value, type);
    }
    return number;
}

double ToDouble(py::handle value) {
    if (PyFloat_CheckExact(value.ptr())) {
        return PyFloat_AS_DOUBLE(value.ptr());
    }
    const double number = PyFloat_AsDouble(value.ptr());
    Check(number != -1.0 || PyErr_Occurred() == nullptr);
    return number;
}

float ToFloat(py::handle value) {
    const double number = ToDouble(value);
    const auto result = static_cast<float>(number);
    if (std::isinf(result) && !std::isinf(number)) {
        RaiseOverflow(value, core::tessaryn::Float);
    }
    return result;
}

template <class T>
void Store(char* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

template <class T>
void StoreSigned(char* at, py::handle value, BaseType type) {
    Store(at, static_cast<T>(ToSigned(value, type, std::numeric_limits<T>::min(),
                                      std::numeric_limits<T>::max())));
}

template <class T>
void StoreUnsigned(char* at, py::handle value, BaseType type) {
    Store(at, static_cast<T>(ToUnsigned(value, type, std::numeric_limits<T>::max())));
}

void StoreElement(char* at, py::handle value, BaseType type) {
    switch (type) {
        case core::tessaryn::Int8:
            return StoreSigned<std::int8_t>(at, value, type);
        case core::tessaryn::Int16:
            return StoreSigned<std::int16_t>(at, value, type);
        case core::tessaryn::Int32:
            return StoreSigned<std::int32_t>(at, value, type);
        case core::tessaryn::Int64:
            return StoreSigned<std::int64_t>(at, value, type);
        case core::tessaryn::UInt8:
            return StoreUnsigned<std::uint8_t>(at, value, type);
        case core::tessaryn::UInt16:
            return StoreUnsigned<std::uint16_t>(at, value, type);
        case core::tessaryn::UInt32:
            return StoreUnsigned<std::uint32_t>(at, value, type);
        case core::tessaryn::UInt64:
            return StoreUnsigned<std::uint64_t>(at, value, type);
        case core::tessaryn::Float:
            return Store(at, ToFloat(value));
        case core::tessaryn::Double:
            return Store(at, ToDouble(value));
        case core::tessaryn::Bool:
            return Store(at, ToBool(value));
        case core::tessaryn::String:
        case core::tessaryn::UnknownType:
            break;
    }
}

void SetCount(Sample& sample, const EntryAccess& entry, std::size_t count) {
    if (entry.GetSize() == 0) {
        sample.Resize(entry.GetEntry(), static_cast<unsigned int>(count));
    }
    // A sample that was read may have another size.
    const std::size_t expected = entry.BytesOf(sample).size() / entry.GetWidth();
    if (count != expected) {
        throw py::value_error("expected " + std::to_string(expected) + " elements, not " +
                              std::to_string(count));
    }
}

// Whether the array has the same layout in memory as the sample.
bool HasElementsOf(const py::array& array, BaseType type) {
    const bool isContiguous = (array.flags() & py::array::c_style) != 0;
    return array.ndim() == 1 && isContiguous && array.dtype().equal(DtypeOf(type));
}

void SetElements(Sample& sample, const EntryAccess& entry, py::handle value) {
    if (py::isinstance<py::array>(value)) {
        const auto array = py::reinterpret_borrow<py::array>(value);
        if (array.ndim() != 1) {
            throw py::value_error("an array of 1 dimension is needed, not of " +
                                  std::to_string(array.ndim()));
        }
        if (HasElementsOf(array, entry.GetValueType())) {
            SetCount(sample, entry, static_cast<std::size_t>(array.size()));
            const auto bytes = static_cast<std::size_t>(array.nbytes());
            if (bytes != 0) {
                std::memcpy(entry.ElementsOf(sample), array.data(), bytes);
            }
            return;
        }
    } else if (PySequence_Check(value.ptr()) == 0) {
        PyErr_Format(PyExc_TypeError, "a sequence or an array is needed, not %R", value.ptr());
        throw py::error_already_set();
    }
    const auto items = py::reinterpret_steal<py::object>(PySequence_Fast(value.ptr(), ""));
    Check(items.ptr() != nullptr);
    const auto count = static_cast<std::size_t>(PySequence_Fast_GET_SIZE(items.ptr()));
    SetCount(sample, entry, count);
    for (std::size_t i = 0; i < count; ++i) {
        // Converting an item may have shortened the list.
        if (static_cast<Py_ssize_t>(i) >= PySequence_Fast_GET_SIZE(items.ptr())) {
            throw py::value_error("the sequence changed");
        }
        const auto item = py::reinterpret_borrow<py::object>(
            PySequence_Fast_GET_ITEM(items.ptr(), static_cast<Py_ssize_t>(i)));
        StoreElement(entry.ElementsOf(sample) + i * entry.GetWidth(), item, entry.GetValueType());
    }
}

void SetText(Sample& sample, const EntryAccess& entry, py::handle value) {
    if (PyUnicode_Check(value.ptr())) {
        Py_ssize_t size = 0;
        const char* const text = PyUnicode_AsUTF8AndSize(value.ptr(), &size);
        if (text != nullptr) {
            return entry.SetText(sample, {text, static_cast<std::size_t>(size)});
        }
        PyErr_Clear();
    }
    entry.SetText(sample, ToBytes(value));
}

void SetValue(Sample& sample, const EntryAccess& entry, py::handle value) {
    if (entry.IsText()) {
        SetText(sample, entry, value);
    } else if (entry.IsScalar()) {
        SetCount(sample, entry, 1);
        StoreElement(entry.ElementsOf(sample), value, entry.GetValueType());
    } else {
        SetElements(sample, entry, value);
    }
}

template <class T>
py::object NumberOf(const char* bytes) {
    if constexpr (std::is_same_v<T, bool>) {
        // A Boolean from a file may be a byte other than 0 and 1.
        return py::bool_(*bytes != 0);
    } else {
        T value;
        std::memcpy(&value, bytes, sizeof value);
        if constexpr (std::is_floating_point_v<T>) {
            return py::float_(static_cast<double>(value));
        } else if constexpr (std::is_same_v<T, char>) {
            return py::int_(static_cast<int>(static_cast<signed char>(value)));
        } else {
            return py::int_(value);
        }
    }
}

std::string NameOf(const EntryAccess& entry) {
    return "entry '" + entry.GetType().GetEntry(entry.GetEntry()).key + "': ";
}

}  // namespace

void SetEntry(Sample& sample, const EntryAccess& entry, py::handle value) {
    try {
        SetValue(sample, entry, value);
    } catch (py::error_already_set& error) {
        const py::object& raised = error.type();
        if (!raised.is(py::handle(PyExc_TypeError)) &&
            !raised.is(py::handle(PyExc_OverflowError))) {
            throw;
        }
        const auto text = py::reinterpret_steal<py::object>(PyObject_Str(error.value().ptr()));
        Check(text.ptr() != nullptr);
        PyErr_SetString(raised.ptr(), (NameOf(entry) + ToBytes(text)).c_str());
        throw py::error_already_set();
    } catch (const py::value_error& error) {
        throw py::value_error(NameOf(entry) + error.what());
    }
}

py::object GetEntry(const Sample& sample, const EntryAccess& entry) {
    const std::string_view bytes = entry.BytesOf(sample);
    if (entry.IsText()) {
        return ToText(bytes);
    }
    if (!entry.IsScalar() || bytes.size() != entry.GetWidth()) {
        return ArrayOf(entry.GetValueType(), bytes);
    }
    return VisitType(entry.GetValueType(), [&]<class T>(std::type_identity<T>) -> py::object {
        if constexpr (std::is_arithmetic_v<T>) {
            return NumberOf<T>(bytes.data());
        } else {
            return py::none();
        }
    });
}

py::array ArrayOf(BaseType type, std::string_view bytes) {
    py::array result(DtypeOf(type), static_cast<py::ssize_t>(bytes.size() / SizeOf(type)));
    auto* const out = static_cast<char*>(result.mutable_data());
    if (type == core::tessaryn::Bool) {
        std::transform(bytes.begin(), bytes.end(), out,
                       [](char byte) { return static_cast<char>(byte != 0); });
    } else if (!bytes.empty()) {
        std::memcpy(out, bytes.data(), bytes.size());
    }
    return result;
}

py::dtype DtypeOf(BaseType type) {
    constexpr const char* names[] = {"O",  "i1", "i2", "i4", "i8", "u1", "u2",
                                     "u4", "u8", "f4", "f8", "?",  "O"};
    return py::dtype(names[type <= core::tessaryn::String ? type : 0]);
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

}  // namespace velmora::python
