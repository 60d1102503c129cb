// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "entry_table.h"

#include "entry_value.h"
#include "errors.h"

#include <algorithm>
#include <string>

namespace velmora::python {

using core::tessaryn::Sample;
using core::tessaryn::StreamType;

namespace {

// The message lists the first entries of the type.
std::string DescribeMissing(const StreamType& type, const std::string& name) {
    constexpr std::size_t maxNames = 10;
    const std::vector<std::string> names = type.GetEntryNames();
    std::string message = "Type " + type.GetName() + " " + type.GetVersion().ToString() +
                          " has no entry '" + name + "'";
    for (std::size_t i = 0; i < std::min(names.size(), maxNames); ++i) {
        message += (i == 0 ? "; it has '" : ", '") + names[i] + "'";
    }
    return message + (names.size() > maxNames ? ", ..." : "");
}

}  // namespace

EntryTable::EntryTable(const StreamType& type) : type(&type) {
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        entries.emplace_back(type, id);
        PyObject* name = ToText(type.GetEntry(id).key).release().ptr();
        PyUnicode_InternInPlace(&name);
        names.push_back(py::reinterpret_steal<py::str>(name));
        ids[names.back()] = id;
    }
}

const EntryAccess& EntryTable::Find(py::handle name, std::size_t expected) const {
    if (expected < names.size() && names[expected].is(name)) {
        return entries[expected];
    }
    PyObject* const id = PyDict_GetItemWithError(ids.ptr(), name.ptr());
    if (id != nullptr) {
        return entries[PyLong_AsSize_t(id)];
    }
    if (PyErr_Occurred() != nullptr) {
        throw py::error_already_set();
    }
    throw PackageError("EntryNotFoundError", DescribeMissing(*type, ToBytes(name)));
}

void EntryTable::SetEntries(Sample& sample, const py::dict& values) const {
    std::size_t expected = 0;
    for (const auto& [name, value] : values) {
        SetEntry(sample, Find(name, expected++), value);
    }
}

py::dict EntryTable::GetValues(const Sample& sample) const {
    py::dict values;
    for (std::size_t id = 0; id < entries.size(); ++id) {
        values[names[id]] = GetEntry(sample, entries[id]);
    }
    return values;
}

}  // namespace velmora::python
