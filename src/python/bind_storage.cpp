// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "bind_storage.h"

#include "column_buffer.h"
#include "entry_value.h"
#include "history_handle.h"
#include "rule_record.h"
#include "storage/document.h"
#include "storage/history_writer.h"
#include "stream_store.h"
#include "tessaryn/document.h"
#include "tessaryn/stream.h"
#include "time_value.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora::python {

using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamRepository;
using core::tessaryn::StreamType;
using storage::HistoryQuery;
using storage::HistoryReader;

namespace {

std::shared_ptr<StreamStore> LoadDocument(const py::str& path) {
    const std::string file = ToBytes(path);
    StreamStore* const store = Unlocked([&] {
        core::tessaryn::Document document = storage::LoadDocument(file);
        auto types = std::make_shared<TypeStore>(std::move(document.types));
        return std::make_unique<StreamStore>(std::move(types), std::move(document.streams))
            .release();
    });
    return {store, UnlockedDelete()};
}

void SaveDocument(const py::str& path, const StreamStore& store) {
    const std::string file = ToBytes(path);
    Unlocked([&] {
        store.Use([&](const StreamRepository& streams) {
            store.GetTypes()->Use([&](const core::tessaryn::StreamTypeRepository& types) {
                storage::SaveDocument(file, types, streams);
            });
        });
    });
}

void WriteStream(storage::HistoryWriter& writer, const std::string& path, const Stream& stream) {
    std::vector<Sample> samples;
    stream.GetSinceInPushOrder(Poco::Timestamp(Poco::Timestamp::TIMEVAL_MIN),
                               [&](const std::vector<Sample*>& found) {
                                   for (const Sample* const sample : found) {
                                       samples.push_back(*sample);
                                   }
                               });
    for (Sample& sample : samples) {
        writer.Write(path, std::move(sample));
    }
}

void SaveHistory(const py::str& path, const StreamStore& store) {
    const std::string file = ToBytes(path);
    Unlocked([&] {
        store.Use([&](const StreamRepository& streams) {
            storage::HistoryWriter writer(file);
            streams.ForEachStream([&](const std::string& name, const Stream& stream) {
                WriteStream(writer, name, stream);
            });
            writer.Close();
        });
    });
}

// The samples of one type of a stream.
struct Group {
    const StreamType* type;
    std::vector<Sample> samples;
};

std::vector<Group> ReadGroups(HistoryReader& reader) {
    std::map<const StreamType*, std::size_t> places;
    std::vector<Group> groups;
    while (reader.Next()) {
        const StreamType* const type = reader.GetSample().GetStreamType();
        const auto [place, isNew] = places.emplace(type, groups.size());
        if (isNew) {
            groups.push_back({type, {}});
        }
        groups[place->second].samples.push_back(reader.GetSample());
    }
    return groups;
}

// Version and columns of each type that the stream's samples are of.
py::list ReadHistory(const HistoryHandle& self, const py::str& path, const py::object& since,
                     const py::object& until, const RuleRecord* rule, std::uint64_t newest) {
    HistoryQuery query;
    query.streams = ToBytes(path);
    query.newest = newest;
    if (const auto from = ToOptionalMicroseconds(since)) {
        query.from = Poco::Timestamp(*from);
    }
    if (const auto to = ToOptionalMicroseconds(until)) {
        query.to = Poco::Timestamp(*to);
    }
    if (rule != nullptr) {
        query.rule = delivery::Rule(rule->GetText());
    }
    std::vector<std::pair<std::string, ColumnBuffer>> columns;
    Unlocked([&] {
        self.Use([&](const storage::History& history) {
            HistoryReader reader(history, query);
            for (Group& group : ReadGroups(reader)) {
                std::vector<Sample*> samples;
                for (Sample& sample : group.samples) {
                    samples.push_back(&sample);
                }
                columns.emplace_back(group.type->GetVersion().ToString(),
                                     ColumnBuffer(*group.type, samples));
            }
        });
    });
    py::list result;
    for (auto& [version, buffer] : columns) {
        result.append(py::make_tuple(version, buffer.ToPython(query.streams)));
    }
    return result;
}

py::object OptionalTime(const std::optional<Poco::Timestamp>& time) {
    return time ? FromMicroseconds(time->epochMicroseconds()) : py::none();
}

// Type name, version, entries with their units, rows, and the first and last time.
py::tuple Describe(const storage::HistoryLayout& layout) {
    py::dict entries;
    py::dict units;
    for (const storage::HistoryEntry& entry : layout.entries) {
        const py::str name = ToText(entry.name);
        entries[name] = py::make_tuple(ToString(entry.type), entry.initialSize);
        if (!entry.unit.empty()) {
            units[name] = ToText(entry.unit);
        }
    }
    return py::make_tuple(ToText(layout.typeName), layout.version.ToString(), entries, units,
                          layout.rowCount, OptionalTime(layout.oldest),
                          OptionalTime(layout.newest));
}

py::list Streams(const HistoryHandle& self) {
    const auto streams = Unlocked(
        [&] { return self.Use([](const storage::History& used) { return used.GetStreams(); }); });
    py::list result;
    for (const storage::HistoryStream& stream : streams) {
        py::list layouts;
        for (const storage::HistoryLayout& layout : stream.layouts) {
            layouts.append(Describe(layout));
        }
        result.append(py::make_tuple(ToText(stream.path), layouts));
    }
    return result;
}

}  // namespace

void BindStorage(py::module_& module) {
    module.def("load_document", &LoadDocument);
    module.def("save_document", &SaveDocument);
    module.def("save_history", &SaveHistory);
    py::class_<HistoryHandle> history(module, "HistoryHandle");
    history.def(py::init([](const py::str& path) {
        const std::string file = ToBytes(path);
        return Unlocked([&] { return std::make_unique<HistoryHandle>(file); });
    }));
    history.def("streams", &Streams);
    history.def("read", &ReadHistory);
    history.def("close", [](HistoryHandle& self) { Unlocked([&] { self.Close(); }); });
    history.def("is_closed", [](const HistoryHandle& self) {
        return Unlocked([&] { return self.IsClosed(); });
    });
}

}  // namespace velmora::python
