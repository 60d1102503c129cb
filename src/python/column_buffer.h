// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "entry_access.h"
#include "pybind.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora::python {

/// Copies the times and entries of samples into columns, in memory that NumPy's arrays then own.
/// Filled under a stream's lock, and therefore without the GIL.
///
/// \threadsafety external
class ColumnBuffer {
  public:
    using Sample = core::tessaryn::Sample;
    using StreamType = core::tessaryn::StreamType;

    /// Copies samples of a type.
    ColumnBuffer(const StreamType& type, const std::vector<Sample*>& samples);

    /// The columns as a `tessaryn.Columns`. May be called once, with the GIL.
    /// \param name of the stream
    py::object ToPython(const std::string& name);

  private:
    // For entries of a fixed size: the elements of all samples in sequence.
    struct Uniform {
        std::unique_ptr<char[]> bytes;
        std::size_t bytesPerRow = 0;
    };
    // For texts and arrays of different lengths.
    struct Ragged {
        std::string bytes;
        std::vector<std::size_t> ends;
    };
    struct ColumnData {
        EntryAccess entry;
        std::string name;
        Uniform uniform;
        Ragged ragged;
        bool isUniform;
    };

    void CopyUniform(const std::vector<Sample*>& samples);
    static void CopyRagged(ColumnData& column, const std::vector<Sample*>& samples);
    py::object ToArray(ColumnData& column) const;
    static py::object ToObjects(const ColumnData& column);

    std::size_t rows;
    std::unique_ptr<std::int64_t[]> times;
    std::vector<ColumnData> columns;
};

}  // namespace velmora::python
