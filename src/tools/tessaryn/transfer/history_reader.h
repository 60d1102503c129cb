// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history.h"
#include "storage/history_reader.h"
#include "transfer/named_type.h"
#include "transfer/sample_reader.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// Reads the samples of a history, all streams together in the order of time.
class HistoryFileReader : public SampleReader {
  public:
    /// \throws storage::HistoryException when the file cannot be opened
    explicit HistoryFileReader(const std::string& file);

    std::vector<StreamLayout> GetStreams() const override { return streams; }
    void Restrict(const std::string& pattern, std::int64_t since, std::int64_t until) override;
    bool Next() override;
    /// Releases the file until the next call of `Next`.
    void Suspend() { reader->Suspend(); }
    const std::string& GetPath() const override { return reader->GetPath(); }
    const core::tessaryn::Sample& GetSample() const override { return reader->GetSample(); }

  private:
    storage::History history;
    storage::HistoryQuery query;
    std::optional<storage::HistoryReader> reader;
    std::deque<NamedType> types;
    std::vector<StreamLayout> streams;
};

}  // namespace velmora::tool
