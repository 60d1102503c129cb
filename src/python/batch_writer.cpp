// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "batch_writer.h"

#include "entry_value.h"
#include "tessaryn/sample_batch.h"
#include "tessaryn/stream.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace velmora::python {

using core::tessaryn::Sample;
using core::tessaryn::SampleBatch;
using core::tessaryn::StreamType;

namespace {

// Elements of an array, row after row.
struct Elements {
    EntryAccess entry;
    const char* bytes;
    std::size_t bytesPerRow;
};

struct Objects {
    EntryAccess entry;
    py::list values;
};

struct Sources {
    std::vector<Elements> elements;
    std::vector<Objects> objects;
};

Elements ElementsOf(const EntryAccess& entry, const py::array& array, std::size_t rows) {
    const std::size_t bytesPerRow = entry.GetSize() * entry.GetWidth();
    const bool isContiguous = (array.flags() & py::array::c_style) != 0;
    if (!isContiguous || !array.dtype().equal(DtypeOf(entry.GetValueType())) ||
        static_cast<std::size_t>(array.nbytes()) != rows * bytesPerRow) {
        throw py::type_error("a column is not an array of its entry's elements");
    }
    return {entry, static_cast<const char*>(array.data()), bytesPerRow};
}

Sources SourcesOf(const EntryTable& entries, const py::list& columns, std::size_t rows) {
    Sources sources;
    for (const py::handle column : columns) {
        const auto [name, values] = column.cast<std::pair<py::object, py::object>>();
        const EntryAccess& entry = entries.Find(name);
        if (py::isinstance<py::list>(values)) {
            sources.objects.push_back({entry, values});
        } else {
            sources.elements.push_back(ElementsOf(entry, values.cast<py::array>(), rows));
        }
    }
    return sources;
}

void SetRow(Sample& sample, std::size_t row, const std::vector<Elements>& columns) {
    for (const Elements& column : columns) {
        char* const out = column.entry.ElementsOf(sample);
        const char* const in = column.bytes + row * column.bytesPerRow;
        if (column.bytesPerRow == sizeof(double)) {
            std::memcpy(out, in, sizeof(double));
        } else {
            std::memcpy(out, in, column.bytesPerRow);
        }
    }
}

// Fills some samples at a time, while they are in the processor's cache.
SampleBatch MakeBatch(StreamType& type, std::span<const std::int64_t> times,
                      const std::vector<Elements>& columns) {
    constexpr std::size_t chunk = 256;
    SampleBatch batch;
    batch.reserve(times.size());
    for (std::size_t begin = 0; begin < times.size(); begin += chunk) {
        const std::size_t count = std::min(chunk, times.size() - begin);
        SampleBatch part = MakeSamples(type, times.subspan(begin, count));
        for (std::size_t i = 0; i < count; ++i) {
            SetRow(*part[i], begin + i, columns);
            batch.push_back(std::move(part[i]));
        }
    }
    return batch;
}

void SetObjects(SampleBatch& batch, const Objects& column) {
    for (std::size_t row = 0; row < batch.size(); ++row) {
        if (row >= column.values.size()) {
            throw py::value_error("a column has " + std::to_string(column.values.size()) +
                                  " rows, not " + std::to_string(batch.size()));
        }
        const py::object value = column.values[row];
        try {
            SetEntry(*batch[row], column.entry, value);
        } catch (py::error_already_set& error) {
            const std::string where = " (row " + std::to_string(row) + ")";
            const std::string what = ToBytes(py::str(error.value())) + where;
            PyErr_SetString(error.type().ptr(), what.c_str());
            throw py::error_already_set();
        } catch (const py::value_error& error) {
            throw py::value_error(error.what() + (" (row " + std::to_string(row) + ")"));
        }
    }
}

}  // namespace

void PushColumns(const StreamHandle& handle,
                 const py::array_t<std::int64_t, py::array::c_style>& times,
                 const py::list& columns) {
    const PinnedStream stream(handle);
    const auto rows = static_cast<std::size_t>(times.size());
    const Sources sources = SourcesOf(stream.GetEntries(), columns, rows);
    const std::span all(times.data(), rows);
    SampleBatch batch =
        Unlocked([&] { return MakeBatch(*stream->GetStreamType(), all, sources.elements); });
    for (const Objects& column : sources.objects) {
        SetObjects(batch, column);
    }
    Unlocked([&] {
        stream->PushMany(batch);
        batch.clear();
    });
}

}  // namespace velmora::python
