// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "bind_streams.h"

#include "column_reader.h"
#include "entry_value.h"
#include "errors.h"
#include "rule_record.h"
#include "stream_store.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_time.h"
#include "tessaryn/stream.h"
#include "time_value.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::python {

using core::tessaryn::Sample;
using core::tessaryn::Stream;

namespace {

// Keeps a stream where it is while Python objects are converted into a sample of its type.
class Pinned {
  public:
    explicit Pinned(StreamLink& link) : link(link), stream(link.Enter()) {}
    Pinned(const Pinned&) = delete;
    Pinned& operator=(const Pinned&) = delete;
    ~Pinned() { link.Leave(); }
    Stream& GetStream() const { return stream; }

  private:
    StreamLink& link;
    Stream& stream;
};

void Push(const StreamHandle& self, const py::object& values, const py::object& time,
          const py::kwargs& more) {
    const std::optional<std::int64_t> stamp = ToOptionalMicroseconds(time);
    const Pinned pinned(*self.GetLink());
    Stream& stream = pinned.GetStream();
    auto sample = std::make_unique<Sample>(stream.GetStreamType(),
                                           stamp ? Poco::Timestamp(*stamp) : Poco::Timestamp());
    if (!values.is_none()) {
        SetEntries(*sample, *stream.GetStreamType(), py::dict(values));
    }
    SetEntries(*sample, *stream.GetStreamType(), more);
    Unlocked([&] { stream.PushNew(sample.release()); });
}

// Time and values of a sample: what tessaryn.Sample is made of.
py::tuple Row(const Sample& sample, const TypeRecord& record) {
    const core::tessaryn::StreamType& type = *sample.GetStreamType();
    py::dict values;
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        values[ToText(type.GetEntry(id).key)] = GetEntry(sample, type, id);
    }
    static_cast<void>(record);
    return py::make_tuple(FromMicroseconds(sample.GetTimeStamp().epochMicroseconds()), values);
}

py::object Latest(const StreamHandle& self) {
    const Pinned pinned(*self.GetLink());
    std::optional<Sample> sample;
    Unlocked(
        [&] { pinned.GetStream().TryGetLatest([&](const Sample& latest) { sample = latest; }); });
    return sample ? py::object(Row(*sample, self.GetType())) : py::none();
}

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
        "How many samples the stream keeps.");
    stream.def("__len__", [](const StreamHandle& self) {
        return self.Use([](Stream& used) { return used.GetNumSamples(); });
    });
    stream.def("push", &Push, py::arg("values") = py::none(), py::pos_only(), py::kw_only(),
               py::arg("time") = py::none(),
               "Push one sample. Entries that are not given are zero or empty.");
    stream.def("_latest", &Latest);
    stream.def("_columns", [](const StreamHandle& self, const py::object& since,
                              const py::object& until, const RuleRecord* rule) {
        return ReadColumns(self, {ToOptionalMicroseconds(since), ToOptionalMicroseconds(until),
                                  rule == nullptr ? nullptr : &rule->GetRule()});
    });
    stream.def(
        "clear",
        [](const StreamHandle& self) {
            self.Use([](Stream& used) { used.Clear(Stream::clearSamples); });
        },
        "Delete all samples. Subscribers are not notified.");
    stream.def(
        "__eq__",
        [](const StreamHandle& self, const StreamHandle& other) {
            return self.GetLink() == other.GetLink();
        },
        py::is_operator());
    stream.def("__hash__", [](const StreamHandle& self) {
        return std::hash<const void*>()(self.GetLink().get());
    });
}

}  // namespace

void BindStreams(py::module_& module) {
    py::class_<StreamStore, std::shared_ptr<StreamStore>> store(module, "StreamStore");
    store.def(py::init([](std::shared_ptr<TypeStore> types, char separator) {
        return std::shared_ptr<StreamStore>(new StreamStore(std::move(types), separator),
                                            UnlockedDelete());
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
    BindStream(module);
}

}  // namespace velmora::python
