// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "source/open_sources.h"
#include "transfer/named_type.h"
#include "transfer/sample_reader.h"

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// Reads the rows of a table. A table that names streams is read twice, first for their names.
class SourceReader : public SampleReader {
  public:
    /// \param signals \ownership observes
    /// \throws CommandError when the file cannot be read
    SourceReader(const std::string& file, const SourceSettings& settings, SignalWatcher& signals);

    std::vector<StreamLayout> GetStreams() const override { return streams; }
    bool Next() override;
    SourceProgress GetProgress() const override { return progress; }
    const std::string& GetPath() const override { return path; }
    const core::tessaryn::Sample& GetSample() const override { return sample; }

  private:
    void Open(const std::string& file, const SourceSettings& settings, SignalWatcher& signals);
    std::string GetRowPath() const;
    void AddStream();

    std::optional<NamedSource> input;
    core::tessaryn::StreamType entries;
    std::deque<NamedType> types;
    std::map<std::string, NamedType*> typesByPath;
    std::vector<StreamLayout> streams;
    std::string path;
    SourceProgress progress;
    core::tessaryn::Sample sample;
};

}  // namespace velmora::tool
