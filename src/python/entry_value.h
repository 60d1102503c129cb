// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "entry_access.h"
#include "pybind.h"

#include <string>
#include <string_view>

namespace velmora::python {

/// Sets an entry of a sample from a Python object, without changing the time. May run Python code.
///
/// A number for an entry of one element, `str` or `bytes` for a `String`, else a sequence or an
/// array of as many elements as the entry has; an entry of initial size 0 takes any number.
/// \throws py::error_already_set TypeError, ValueError or OverflowError, naming the entry
void SetEntry(core::tessaryn::Sample& sample, const EntryAccess& entry, py::handle value);

/// The value of an entry: a number, a `str`, or, unless the entry has one element, an array of one
/// dimension.
py::object GetEntry(const core::tessaryn::Sample& sample, const EntryAccess& entry);

/// An array of elements.
py::array ArrayOf(core::tessaryn::BaseType type, std::string_view bytes);
/// The dtype of elements; that of objects for `String`.
py::dtype DtypeOf(core::tessaryn::BaseType type);

/// Converts bytes to a text; bytes that are not UTF-8 become lone surrogates.
py::str ToText(std::string_view bytes);
/// The bytes of a `str`, lone surrogates turned back, or of `bytes`.
std::string ToBytes(py::handle text);

}  // namespace velmora::python
