// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/sample_json.h"

#include "common/split.h"
#include "inspector/request_error.h"
#include "tessaryn/field.h"
#include "tessaryn/visit_type.h"

#include <Poco/Timestamp.h>

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace velmora::inspector {

using core::tessaryn::Field;
using core::tessaryn::Sample;
using core::tessaryn::StreamType;

namespace {

template <class T>
void AppendElement(JsonText& json, T value) {
    if constexpr (std::is_same_v<T, bool>) {
        json.Bool(value);
    } else if constexpr (std::is_floating_point_v<T>) {
        json.Number(value);
    } else if constexpr (std::is_signed_v<T>) {
        json.Integer(value);
    } else {
        json.Unsigned(value);
    }
}

template <class T>
void AppendElements(JsonText& json, const Sample& sample, const ShownEntry& entry,
                    std::size_t maxElements) {
    const Field<T> field(*sample.GetStreamType(), entry.id);
    const std::size_t size = field.GetSize(sample);
    if (size == 1 && entry.initialSize == 1) {
        AppendElement(json, field(sample));
        return;
    }
    if (size == 0 && entry.initialSize == 1) {
        json.Null();
        return;
    }
    json.BeginArray();
    for (std::size_t i = 0; i < std::min(size, maxElements); ++i) {
        AppendElement(json, field(sample, static_cast<unsigned int>(i)));
    }
    json.EndArray();
}

ShownEntry Describe(const StreamType& type, unsigned short id) {
    const core::tessaryn::SampleEntry entry = type.GetEntry(id);
    return {id, entry.key, entry.type, entry.initialSize};
}

}  // namespace

double NumberOf(const Sample& sample, const ShownEntry& entry) {
    return VisitType(entry.type, [&]<class T>(std::type_identity<T>) {
        if constexpr (!std::is_void_v<T> && !std::is_same_v<T, std::string>) {
            const Field<T> field(*sample.GetStreamType(), entry.id);
            if (field.GetSize(sample) > 0) {
                return static_cast<double>(field(sample));
            }
        }
        return std::nan("");
    });
}

std::vector<ShownEntry> SelectEntries(const StreamType& type,
                                      const std::optional<std::string>& names,
                                      const InspectorLimits& limits) {
    std::vector<ShownEntry> entries;
    if (!names) {
        const std::size_t count = std::min<std::size_t>(type.GetNumEntries(), limits.maxEntries);
        for (std::size_t id = 0; id < count; ++id) {
            entries.push_back(Describe(type, static_cast<unsigned short>(id)));
        }
        return entries;
    }
    // A name may hold a comma itself.
    const std::vector<std::string> named =
        type.EntryExists(*names) ? std::vector<std::string>{*names} : utils::Split(*names, ',');
    for (const std::string& name : named) {
        if (!type.EntryExists(name)) {
            throw RequestError(404, "The stream has no entry '" + name + "'.");
        }
        if (entries.size() == limits.maxEntries) {
            throw RequestError(400, "There are too many entries.");
        }
        entries.push_back(Describe(type, type.EntryId(name)));
    }
    return entries;
}

void AppendValue(JsonText& json, const Sample& sample, const ShownEntry& entry,
                 const InspectorLimits& limits) {
    VisitType(entry.type, [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_void_v<T>) {
            json.Null();
        } else if constexpr (std::is_same_v<T, std::string>) {
            const Field<std::string> field(*sample.GetStreamType(), entry.id);
            json.Text(CleanText(field(sample), limits.maxTextBytes));
        } else {
            AppendElements<T>(json, sample, entry, limits.maxElements);
        }
    });
}

void AppendValues(JsonText& json, const Sample& sample, const std::vector<ShownEntry>& entries,
                  const InspectorLimits& limits) {
    const auto isCut = [&](const ShownEntry& entry) {
        return sample.GetSize(entry.id) >
               (entry.type == core::tessaryn::String ? limits.maxTextBytes : limits.maxElements);
    };
    json.Key("values").BeginObject();
    for (const ShownEntry& entry : entries) {
        AppendValue(json.Key(entry.name), sample, entry, limits);
    }
    json.EndObject();
    if (std::any_of(entries.begin(), entries.end(), isCut)) {
        json.Key("sizes").BeginObject();
        for (const ShownEntry& entry : entries) {
            if (isCut(entry)) {
                json.Key(entry.name).Unsigned(sample.GetSize(entry.id));
            }
        }
        json.EndObject();
    }
}

std::int64_t Now() {
    return Poco::Timestamp().epochMicroseconds();
}

}  // namespace velmora::inspector
