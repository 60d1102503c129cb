// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "column_reader.h"

#include "entry_value.h"
#include "tessaryn/field.h"
#include "tessaryn/stream.h"
#include "tessaryn/subscription_args.h"
#include "tessaryn/subscription_rule.h"
#include "tessaryn/visit_type.h"

#include <algorithm>
#include <limits>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

namespace velmora::python {

using core::tessaryn::BaseType;
using core::tessaryn::Field;
using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamType;

namespace {

// The values of one entry, copied out of the samples: elements one after another.
struct EntryValues {
    std::string bytes;
    std::vector<std::size_t> ends;
    bool isUniform = true;
};

struct Copied {
    std::vector<std::int64_t> times;
    std::vector<EntryValues> entries;
};

void CopyEntry(const std::vector<Sample*>& samples, const StreamType& type, unsigned short id,
               EntryValues& out) {
    const std::size_t expected = type.GetEntry(id).initialSize * SizeOf(type.GetType(id));
    VisitType(type.GetType(id), [&]<class T>(std::type_identity<T>) {
        if constexpr (!std::is_void_v<T>) {
            const Field<T> field(type, id);
            for (const Sample* const sample : samples) {
                if constexpr (std::is_same_v<T, std::string>) {
                    out.bytes += field(*sample);
                } else {
                    const std::size_t size = field.GetSize(*sample);
                    for (std::size_t i = 0; i < size; ++i) {
                        const T value = field(*sample, static_cast<unsigned int>(i));
                        out.bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
                    }
                    out.isUniform = out.isUniform && size * sizeof(T) == expected;
                }
                out.ends.push_back(out.bytes.size());
            }
        }
    });
}

void Select(std::vector<Sample*>& samples, const Selection& selection) {
    if (selection.until) {
        std::erase_if(samples, [&](const Sample* sample) {
            return sample->GetTimeStamp().epochMicroseconds() > *selection.until;
        });
    }
    if (selection.rule != nullptr) {
        std::erase_if(samples, [&](Sample* sample) {
            core::tessaryn::SubscriptionArgs args{core::tessaryn::pushed, sample, nullptr};
            return !selection.rule->Applies(args);
        });
    }
    std::stable_sort(samples.begin(), samples.end(), [](const Sample* left, const Sample* right) {
        return left->GetTimeStamp() < right->GetTimeStamp();
    });
}

Copied Copy(Stream& stream, const Selection& selection) {
    Copied copied;
    const Poco::Timestamp since(selection.since.value_or(std::numeric_limits<std::int64_t>::min()));
    stream.GetSinceInPushOrder(since, [&](const std::vector<Sample*>& found) {
        std::vector<Sample*> samples = found;
        Select(samples, selection);
        for (const Sample* const sample : samples) {
            copied.times.push_back(sample->GetTimeStamp().epochMicroseconds());
        }
        const StreamType& type = *stream.GetStreamType();
        copied.entries.resize(type.GetNumEntries());
        for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
            CopyEntry(samples, type, id, copied.entries[id]);
        }
    });
    return copied;
}

py::array ArrayOf(BaseType type, std::string_view bytes, std::vector<py::ssize_t> shape) {
    py::array result(py::dtype(DtypeName(type)), std::move(shape));
    std::copy(bytes.begin(), bytes.end(), static_cast<char*>(result.mutable_data()));
    return result;
}

py::object ColumnOf(const core::tessaryn::SampleEntry& entry, const EntryValues& values) {
    const auto rows = static_cast<py::ssize_t>(values.ends.size());
    if (entry.type != core::tessaryn::String && values.isUniform && entry.initialSize > 0) {
        std::vector<py::ssize_t> shape{rows};
        if (entry.initialSize != 1) {
            shape.push_back(entry.initialSize);
        }
        return ArrayOf(entry.type, values.bytes, std::move(shape));
    }
    py::list items;
    std::size_t begin = 0;
    for (const std::size_t end : values.ends) {
        const auto bytes = std::string_view(values.bytes).substr(begin, end - begin);
        if (entry.type == core::tessaryn::String) {
            items.append(ToText(bytes));
        } else {
            const auto count = static_cast<py::ssize_t>(bytes.size() / SizeOf(entry.type));
            items.append(ArrayOf(entry.type, bytes, {count}));
        }
        begin = end;
    }
    const py::object column = py::module_::import("numpy").attr("empty")(rows, "object");
    for (py::ssize_t row = 0; row < rows; ++row) {
        column[py::int_(row)] = items[static_cast<std::size_t>(row)];
    }
    return column;
}

}  // namespace

py::object ReadColumns(const StreamHandle& stream, const Selection& selection) {
    const Copied copied = stream.Use([&](Stream& used) { return Copy(used, selection); });
    py::array times(py::dtype("M8[us]"), copied.times.size());
    std::copy(copied.times.begin(), copied.times.end(),
              static_cast<std::int64_t*>(times.mutable_data()));
    py::dict columns;
    const std::vector<core::tessaryn::SampleEntry> entries = stream.GetType().GetEntries();
    for (std::size_t id = 0; id < entries.size(); ++id) {
        columns[ToText(entries[id].key)] = ColumnOf(entries[id], copied.entries[id]);
    }
    return py::module_::import("tessaryn.columns")
        .attr("Columns")(times, columns, stream.GetLink()->GetPath());
}

}  // namespace velmora::python
