// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/file_replacement.h"
#include "tessaryn/base_type.h"
#include "transfer/sample_writer.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velmora::tool {

/// Writes a row for each sample: CSV with a header, or JSON lines.
///
/// The columns are the time, the stream if there are several, and all entries by name. Several
/// elements are joined with ";" in CSV, and are an array in JSON lines. A missing value is an empty
/// cell or null.
class TableWriter : public SampleWriter {
  public:
    enum class Form { csv, jsonLines };

    TableWriter(const std::string& file, Form form, const std::vector<StreamLayout>& streams);

    void Write(const std::string& path, const core::tessaryn::Sample& sample) override;
    void Finish() override;
    std::vector<std::string> GetLosses() const override;

  private:
    /// A column, and the type that its cells suggest to a reader.
    struct Column {
        std::string name;
        core::tessaryn::BaseType type;
        core::tessaryn::BaseType guess = core::tessaryn::UnknownType;
        unsigned int minSize = 0xFFFFFFFF;
        unsigned int maxSize = 0;
    };
    using Ids = std::vector<unsigned short>;

    void AddColumns(const core::tessaryn::StreamType& type);
    void WriteHeader();
    void AppendCells(const core::tessaryn::Sample& sample, const Ids& ids);
    void AppendElements(const core::tessaryn::Sample& sample, unsigned short id, Column& column);
    void AppendCsvText(const std::string& text);
    void NoteCell(Column& column, std::string_view cell, unsigned int size) const;
    void AppendStamp(const core::tessaryn::Sample& sample);

    Form form;
    storage::FileReplacement file;
    bool hasStreamColumn;
    std::vector<Column> columns;
    std::vector<StreamLayout> streams;
    LayoutIndex layouts{streams};
    /// The entry of each column in the samples of a layout.
    std::vector<Ids> idsOf;
    std::string out;
    std::string cell;
    std::uint64_t notRead = 0;
    std::uint64_t notUtf8 = 0;
};

}  // namespace velmora::tool
