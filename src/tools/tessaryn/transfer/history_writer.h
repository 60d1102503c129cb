// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_writer.h"
#include "transfer/sample_writer.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora::tool {

/// Writes a new history.
class HistoryFileWriter : public SampleWriter {
  public:
    /// \throws CommandError when the file exists: other programs may have it open
    explicit HistoryFileWriter(const std::string& file);
    /// Removes the file, unless `Finish` has returned.
    ~HistoryFileWriter() override;

    void Write(const std::string& path, const core::tessaryn::Sample& sample) override;
    void Finish() override;
    std::vector<std::string> GetLosses() const override;

  private:
    void RemovePart() const;

    std::string file;
    /// The temporary file.
    std::string part;
    std::unique_ptr<storage::HistoryWriter> writer;
    std::map<std::string, std::int64_t> newest;
    std::uint64_t outOfOrder = 0;
};

}  // namespace velmora::tool
