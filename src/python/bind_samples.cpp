// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "bind_samples.h"

#include "batch_writer.h"
#include "column_reader.h"
#include "entry_value.h"
#include "push_method.h"
#include "rule_record.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_time.h"
#include "tessaryn/stream.h"
#include "time_value.h"

#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace velmora::python {

using core::tessaryn::Sample;
using core::tessaryn::Stream;

namespace {

// Time and values, from which a tessaryn.Sample is made.
py::tuple Row(const Sample& sample, const EntryTable& entries) {
    return py::make_tuple(FromMicroseconds(sample.GetTimeStamp().epochMicroseconds()),
                          entries.GetValues(sample));
}

py::object Latest(const StreamHandle& self) {
    const PinnedStream stream(self);
    std::optional<Sample> sample;
    Unlocked([&] { stream->TryGetLatest([&](const Sample& latest) { sample = latest; }); });
    return sample ? py::object(Row(*sample, stream.GetEntries())) : py::none();
}

py::object PopLatest(const StreamHandle& self) {
    const PinnedStream stream(self);
    std::optional<Sample> sample;
    Unlocked([&] {
        stream->AtomicExecute([&] {
            stream->TryGetLatest([&](const Sample& latest) { sample = latest; });
            stream->PopLatest();
        });
    });
    return sample ? py::object(Row(*sample, stream.GetEntries())) : py::none();
}

void CopyEntry(const EntryAccess& entry, const Sample& from, Sample& to) {
    const std::string_view bytes = entry.BytesOf(from);
    if (entry.IsText()) {
        entry.SetText(to, bytes);
        return;
    }
    to.Resize(entry.GetEntry(), static_cast<unsigned int>(bytes.size() / entry.GetWidth()));
    if (!bytes.empty()) {
        std::memcpy(entry.ElementsOf(to), bytes.data(), bytes.size());
    }
}

// Whether there was a sample to change.
bool ChangeLatest(const StreamHandle& self, const py::dict& values, const py::object& time,
                  bool notify) {
    const std::optional<std::int64_t> given = ToOptionalMicroseconds(time);
    const PinnedStream stream(self);
    const EntryTable& entries = stream.GetEntries();
    Sample change(stream->GetStreamType(), Poco::Timestamp());
    entries.SetEntries(change, values);
    std::vector<EntryAccess> changed;
    for (const auto& [name, value] : values) {
        changed.push_back(entries.Find(name));
    }
    const Poco::Timestamp stamp = given ? Poco::Timestamp(*given) : Poco::Timestamp();
    bool isThere = false;
    Unlocked([&] {
        stream->AtomicExecute([&] {
            isThere = !stream->IsEmpty();
            if (isThere) {
                stream->ChangeLatest(
                    [&](Sample& latest) {
                        for (const EntryAccess& entry : changed) {
                            CopyEntry(entry, change, latest);
                        }
                        SetTimeStamp(latest, stamp);
                    },
                    notify);
            }
        });
    });
    return isThere;
}

}  // namespace

void BindSamples(py::class_<StreamHandle>& stream) {
    BindPush(stream);
    stream.def("_push_columns", &PushColumns);
    stream.def("_latest", &Latest);
    stream.def("_pop_latest", &PopLatest);
    stream.def("_change_latest", &ChangeLatest);
    stream.def("_columns", [](const StreamHandle& self, const py::object& since,
                              const py::object& until, const RuleRecord* rule) {
        return ReadColumns(self, {ToOptionalMicroseconds(since), ToOptionalMicroseconds(until),
                                  rule == nullptr ? nullptr : &rule->GetRule()});
    });
    stream.def("_last",
               [](const StreamHandle& self, const py::object& span, const py::object& until) {
                   const std::int64_t length = ToSpan(span);
                   const std::optional<std::int64_t> end = ToOptionalMicroseconds(until);
                   const std::int64_t from = end.value_or(Poco::Timestamp().epochMicroseconds());
                   std::int64_t since = 0;
                   if (__builtin_sub_overflow(from, length, &since)) {
                       since = length > 0 ? std::numeric_limits<std::int64_t>::min()
                                          : std::numeric_limits<std::int64_t>::max();
                   }
                   return ReadColumns(self, {since, end, nullptr});
               });
    stream.def(
        "clear",
        [](const StreamHandle& self) {
            self.Use([](Stream& used) { used.Clear(Stream::clearSamples); });
        },
        "Delete all samples. Subscribers are not notified.");
}

}  // namespace velmora::python
