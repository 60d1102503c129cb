// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "bind_streams.h"

#include "bind_samples.h"
#include "entry_value.h"
#include "errors.h"
#include "stream_store.h"
#include "tessaryn/stream.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::python {

using core::tessaryn::Stream;

namespace {

py::list Texts(const std::vector<std::string>& bytes) {
    py::list texts;
    for (const std::string& each : bytes) {
        texts.append(ToText(each));
    }
    return texts;
}

void BindStream(py::module_& module) {
    py::class_<StreamHandle> stream(module, "StreamHandle");
    stream.def(py::init([](std::shared_ptr<StreamStore> store, const py::str& path) {
        const std::string bytes = ToBytes(path);
        std::shared_ptr<StreamLink> link = Unlocked([&] { return store->Find(bytes); });
        if (link == nullptr) {
            throw PackageError("PathNotFoundError", "There is no stream '" + bytes + "'.");
        }
        return StreamHandle(std::move(store), std::move(link));
    }));
    stream.def_property_readonly(
        "path", [](const StreamHandle& self) { return ToText(self.GetLink()->GetPath()); });
    stream.def_property_readonly("type", [](const StreamHandle& self) {
        return std::const_pointer_cast<TypeRecord>(self.GetLink()->GetType());
    });
    stream.def_property_readonly("store", [](const StreamHandle& self) { return self.GetStore(); });
    stream.def_property_readonly(
        "is_alive", [](const StreamHandle& self) { return self.GetLink()->IsAlive(); },
        "Whether the stream is still in its repository.");
    stream.def_property_readonly(
        "capacity",
        [](const StreamHandle& self) {
            return self.Use([](Stream& used) { return used.GetMaxSize(); });
        },
        "The maximum number of samples.");
    stream.def("__len__", [](const StreamHandle& self) {
        return self.Use([](Stream& used) { return used.GetNumSamples(); });
    });
    stream.def(
        "__eq__",
        [](const StreamHandle& self, const StreamHandle& other) {
            return self.GetLink() == other.GetLink();
        },
        py::is_operator());
    stream.def("__hash__", [](const StreamHandle& self) {
        return std::hash<const void*>()(self.GetLink().get());
    });
    BindSamples(stream);
}

}  // namespace

void BindStreams(py::module_& module) {
    py::class_<StreamStore, std::shared_ptr<StreamStore>> store(module, "StreamStore");
    store.def(py::init([](std::shared_ptr<TypeStore> types, char separator) {
        return Unlocked([&] {
            return std::shared_ptr<StreamStore>(new StreamStore(std::move(types), separator),
                                                UnlockedDelete());
        });
    }));
    store.def_property_readonly("types", &StreamStore::GetTypes);
    store.def_property_readonly("separator", &StreamStore::GetSeparator);
    store.def_property_readonly("is_closed", [](const StreamStore& self) {
        return Unlocked([&] { return self.IsClosed(); });
    });
    store.def("add",
              [](StreamStore& self, const py::str& path, const TypeRecord& type, long capacity) {
                  const std::string bytes = ToBytes(path);
                  Unlocked([&] { self.Add(bytes, type, capacity); });
              });
    store.def("contains", [](StreamStore& self, const py::str& path) {
        const std::string bytes = ToBytes(path);
        return Unlocked([&] { return self.Find(bytes) != nullptr; });
    });
    store.def("paths",
              [](StreamStore& self) { return Texts(Unlocked([&] { return self.GetPaths(); })); });
    store.def("remove", [](StreamStore& self, const py::str& path) {
        const std::string bytes = ToBytes(path);
        return Unlocked([&] { return self.Remove(bytes); });
    });
    store.def("clear", [](StreamStore& self) { Unlocked([&] { self.Clear(); }); });
    store.def("close", [](StreamStore& self) { Unlocked([&] { self.Close(); }); });
    store.def("units", [](const StreamStore& self, const py::str& path) {
        const std::string bytes = ToBytes(path);
        py::dict units;
        for (const auto& [entry, unit] : Unlocked([&] { return self.GetUnits(bytes); })) {
            units[ToText(entry)] = ToText(unit);
        }
        return units;
    });
    store.def("set_unit", [](StreamStore& self, const py::str& path, const py::str& entry,
                             const py::str& unit) {
        const std::string bytes = ToBytes(path);
        const std::string name = ToBytes(entry);
        const std::string text = ToBytes(unit);
        Unlocked([&] { self.SetUnit(bytes, name, text); });
    });
    BindStream(module);
}

}  // namespace velmora::python
