// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "bind_types.h"

#include "entry_value.h"
#include "type_store.h"
#include "unlocked.h"

#include <memory>
#include <optional>
#include <pybind11/operators.h>
#include <string>
#include <vector>

namespace velmora::python {

using core::tessaryn::SampleEntry;
using utils::Version;

namespace {

std::optional<Version> OptionalVersion(py::handle version) {
    return version.is_none() ? std::nullopt : std::optional(Version(ToBytes(version)));
}

py::object Tables(const char* function) {
    return py::module_::import("tessaryn._tables").attr(function);
}

// Makes an entry from its name and the pair of type name and size that _tables.entry_spec returns
// for the caller's argument.
SampleEntry EntryOf(py::handle key, py::handle spec) {
    const py::tuple parts = Tables("entry_spec")(spec);
    const std::string typeName = ToBytes(parts[0]);
    const core::tessaryn::BaseType type = core::tessaryn::GetTypeFromString(typeName);
    if (type == core::tessaryn::UnknownType) {
        throw std::invalid_argument("entry '" + ToBytes(key) + "': '" + typeName +
                                    "' is not a value type");
    }
    return {ToBytes(key), type, parts[1].cast<unsigned int>()};
}

std::shared_ptr<TypeRecord> MakeType(const std::string& name, const std::string& version,
                                     const py::object& entries, const py::kwargs& more) {
    std::vector<SampleEntry> list;
    if (!entries.is_none()) {
        for (const auto& [key, spec] : py::dict(entries)) {
            list.push_back(EntryOf(key, spec));
        }
    }
    for (const auto& [key, spec] : more) {
        list.push_back(EntryOf(key, spec));
    }
    return std::make_shared<TypeRecord>(name, Version(version), list);
}

// Name, version and entries are positional, so that an entry may have any of these names.
std::shared_ptr<TypeRecord> MakeOfArguments(const py::args& arguments, const py::kwargs& more) {
    if (arguments.empty() || arguments.size() > 3) {
        throw py::type_error("StreamType takes a name, a version and entries by position, not " +
                             std::to_string(arguments.size()) + " arguments");
    }
    const py::object entries = arguments.size() > 2 ? py::object(arguments[2]) : py::none();
    return MakeType(ToBytes(arguments[0]), arguments.size() > 1 ? ToBytes(arguments[1]) : "1.0.0",
                    entries, more);
}

py::dict Entries(const TypeRecord& type) {
    py::dict entries;
    for (const SampleEntry& entry : type.GetEntries()) {
        entries[ToText(entry.key)] = py::make_tuple(ToString(entry.type), entry.initialSize);
    }
    return entries;
}

std::string Represent(const TypeRecord& type) {
    std::string text = "StreamType(" + std::string(py::repr(ToText(type.GetName()))) + ", '" +
                       type.GetVersion().ToString() + "'";
    const std::vector<SampleEntry> entries = type.GetEntries();
    text += entries.empty() ? "" : ", {";
    for (std::size_t i = 0; i < entries.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::string(py::repr(ToText(entries[i].key))) + ": ('" +
                ToString(entries[i].type) + "', " + std::to_string(entries[i].initialSize) + ")";
    }
    return text + (entries.empty() ? ")" : "})");
}

py::list VersionTexts(const std::vector<Version>& versions) {
    py::list texts;
    for (const Version& version : versions) {
        texts.append(version.ToString());
    }
    return texts;
}

void BindStreamType(py::module_& module) {
    py::class_<TypeRecord, std::shared_ptr<TypeRecord>> type(
        module, "StreamType",
        "The layout of the samples of a stream: a name, a version and named, typed entries.\n\n"
        "Each entry is a type, or a pair of type and size: level=\"Double\", level=float or\n"
        "valves=(\"Bool\", 4). An entry of size 1 holds one value, of size 0 arrays of any "
        "length,\n"
        "else arrays of this length. A String holds one text. Stream types do not change.");
    type.def(py::init(&MakeOfArguments));
    type.def_property_readonly(
        "name", [](const TypeRecord& self) { return ToText(self.GetName()); },
        "The name: the path of the type in a repository of types.");
    type.def_property_readonly(
        "version", [](const TypeRecord& self) { return self.GetVersion().ToString(); },
        "The version, such as \"1.0.0\".");
    type.def_property_readonly("entries", &Entries,
                               "The entries in their order: name to (type, size).");
    type.def_property_readonly(
        "dtype", [](const TypeRecord& self) { return Tables("dtype_of")(Entries(self)); },
        "The NumPy structured dtype of a row.");
    type.def_static(
        "from_dtype",
        [](const py::object& dtype, const std::string& name, const std::string& version) {
            return MakeType(name, version, Tables("entries_of_dtype")(dtype), py::kwargs());
        },
        py::arg("dtype"), py::arg("name"), py::arg("version") = "1.0.0",
        "The type whose entries are the fields of a NumPy structured dtype. Fields of datetime64\n"
        "are left out: they are times.");
    type.def_static(
        "from_dataframe",
        [](const py::object& frame, const std::string& name, const std::string& version) {
            return MakeType(name, version, Tables("entries_of_dataframe")(frame), py::kwargs());
        },
        py::arg("frame"), py::arg("name"), py::arg("version") = "1.0.0",
        "The type whose entries are the columns of a pandas DataFrame. Columns of times are left\n"
        "out.");
    type.def("__len__", [](const TypeRecord& self) { return self.GetType().GetNumEntries(); });
    type.def("__contains__", [](const TypeRecord& self, const py::str& key) {
        return self.GetType().EntryExists(ToBytes(key));
    });
    type.def(
        "__eq__", [](const TypeRecord& self, const TypeRecord& other) { return self == other; },
        py::is_operator());
    type.def("__hash__", [](const TypeRecord& self) { return py::hash(ToText(self.Describe())); });
    type.def("__repr__", &Represent);
}

}  // namespace

void BindTypes(py::module_& module) {
    BindStreamType(module);

    py::class_<TypeStore, std::shared_ptr<TypeStore>> store(module, "TypeStore");
    store.def(py::init([](char separator) {
                  return std::shared_ptr<TypeStore>(new TypeStore(separator), UnlockedDelete());
              }),
              py::arg("separator"));
    store.def_property_readonly("separator", &TypeStore::GetSeparator);
    store.def("add", [](TypeStore& self, const py::str& path, const TypeRecord& type) {
        const std::string bytes = ToBytes(path);
        Unlocked([&] { self.Add(bytes, type); });
    });
    store.def("versions", [](TypeStore& self, const py::str& path) -> py::object {
        const std::string bytes = ToBytes(path);
        const auto versions = Unlocked([&] { return self.GetVersions(bytes); });
        return versions ? py::object(VersionTexts(*versions)) : py::none();
    });
    store.def("find", [](TypeStore& self, const py::str& path, const py::object& version) {
        const std::string bytes = ToBytes(path);
        const std::optional<Version> number = OptionalVersion(version);
        // Records are immutable, so the const of C++ has no meaning in Python.
        return std::const_pointer_cast<TypeRecord>(
            Unlocked([&] { return self.Find(bytes, number); }));
    });
    store.def("paths", [](TypeStore& self) {
        const std::vector<std::string> paths = Unlocked([&] { return self.GetPaths(); });
        py::list texts;
        for (const std::string& path : paths) {
            texts.append(ToText(path));
        }
        return texts;
    });
    store.def("remove", [](TypeStore& self, const py::str& path, const py::object& version) {
        const std::string bytes = ToBytes(path);
        const std::optional<Version> number = OptionalVersion(version);
        return Unlocked([&] { return self.Remove(bytes, number); });
    });
}

}  // namespace velmora::python
