// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "column_buffer.h"

#include "entry_value.h"
#include "tessaryn/sample.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace velmora::python {

namespace {

void CopyElements(char* out, std::string_view bytes, core::tessaryn::BaseType type) {
    if (type == core::tessaryn::Bool) {
        // A Boolean from a file may be a byte other than 0 and 1.
        for (const char byte : bytes) {
            *out++ = static_cast<char>(byte != 0);
        }
        return;
    }
    switch (bytes.size()) {
        case sizeof(std::uint64_t):
            std::memcpy(out, bytes.data(), sizeof(std::uint64_t));
            return;
        case sizeof(std::uint32_t):
            std::memcpy(out, bytes.data(), sizeof(std::uint32_t));
            return;
        default:
            std::memcpy(out, bytes.data(), bytes.size());
    }
}

// An array that owns the memory.
template <class T>
py::array Owning(py::dtype dtype, std::vector<py::ssize_t> shape, std::unique_ptr<T[]> memory) {
    T* const data = memory.get();
    const py::capsule owner(data, [](void* owned) { delete[] static_cast<T*>(owned); });
    static_cast<void>(memory.release());
    return py::array(std::move(dtype), std::move(shape), data, owner);
}

}  // namespace

ColumnBuffer::ColumnBuffer(const StreamType& type, const std::vector<Sample*>& samples)
    : rows(samples.size()), times(std::make_unique_for_overwrite<std::int64_t[]>(rows)) {
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        const EntryAccess entry(type, id);
        const bool isUniform = !entry.IsText() && entry.GetSize() > 0;
        columns.push_back({entry, type.GetEntry(id).key, {}, {}, isUniform});
        if (isUniform) {
            Uniform& uniform = columns.back().uniform;
            uniform.bytesPerRow = entry.GetSize() * entry.GetWidth();
            uniform.bytes = std::make_unique_for_overwrite<char[]>(rows * uniform.bytesPerRow);
        }
    }
    CopyUniform(samples);
    for (ColumnData& column : columns) {
        if (!column.isUniform) {
            CopyRagged(column, samples);
        }
    }
}

// Row by row, since samples are scattered in memory.
void ColumnBuffer::CopyUniform(const std::vector<Sample*>& samples) {
    for (std::size_t row = 0; row < rows; ++row) {
        const Sample& sample = *samples[row];
        times[row] = EntryAccess::TimeOf(sample);
        for (ColumnData& column : columns) {
            if (!column.isUniform) {
                continue;
            }
            const std::string_view bytes = column.entry.BytesOf(sample);
            const std::size_t expected = column.uniform.bytesPerRow;
            if (bytes.size() != expected) {
                column.isUniform = false;
                continue;
            }
            CopyElements(column.uniform.bytes.get() + row * expected, bytes,
                         column.entry.GetValueType());
        }
    }
}

void ColumnBuffer::CopyRagged(ColumnData& column, const std::vector<Sample*>& samples) {
    column.uniform.bytes.reset();
    column.ragged.ends.reserve(samples.size());
    for (const Sample* const sample : samples) {
        column.ragged.bytes += column.entry.BytesOf(*sample);
        column.ragged.ends.push_back(column.ragged.bytes.size());
    }
}

py::object ColumnBuffer::ToArray(ColumnData& column) const {
    if (!column.isUniform) {
        return ToObjects(column);
    }
    std::vector<py::ssize_t> shape{static_cast<py::ssize_t>(rows)};
    if (!column.entry.IsScalar()) {
        shape.push_back(column.entry.GetSize());
    }
    return Owning(DtypeOf(column.entry.GetValueType()), std::move(shape),
                  std::move(column.uniform.bytes));
}

py::object ColumnBuffer::ToObjects(const ColumnData& column) {
    const std::string_view all = column.ragged.bytes;
    const auto count = static_cast<py::ssize_t>(column.ragged.ends.size());
    // New arrays of objects are filled with None.
    py::array result(py::dtype("O"), count);
    auto** const out = static_cast<PyObject**>(result.mutable_data());
    std::size_t begin = 0;
    for (py::ssize_t row = 0; row < count; ++row) {
        const std::size_t end = column.ragged.ends[static_cast<std::size_t>(row)];
        const std::string_view bytes = all.substr(begin, end - begin);
        py::object value = column.entry.IsText()
                               ? py::object(ToText(bytes))
                               : py::object(ArrayOf(column.entry.GetValueType(), bytes));
        Py_XSETREF(out[row], value.release().ptr());
        begin = end;
    }
    return result;
}

py::object ColumnBuffer::ToPython(const std::string& name) {
    py::dict arrays;
    for (ColumnData& column : columns) {
        arrays[ToText(column.name)] = ToArray(column);
    }
    const py::array time =
        Owning(py::dtype("M8[us]"), {static_cast<py::ssize_t>(rows)}, std::move(times));
    return py::module_::import("tessaryn.columns").attr("Columns")(time, arrays, ToText(name));
}

}  // namespace velmora::python
