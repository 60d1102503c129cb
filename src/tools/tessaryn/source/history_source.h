// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "source/sample_source.h"
#include "storage/history.h"
#include "storage/history_reader.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora::tool {

/// Whether a file is a database by its ending or its first bytes, and therefore perhaps a history.
bool IsDatabase(const std::string& path);

/// The samples of one stream of a history, in the order of time.
class HistorySource : public SampleSource {
  public:
    /// \param history the history that has the stream
    /// \param name the stream's path, for messages
    HistorySource(std::shared_ptr<const storage::History> history,
                  const storage::HistoryStream& stream, std::string name);

    void BeforeWait(std::function<void(const SourceProgress&)> /*action*/) override {}
    /// Adds the entries of the newest type that the stream had.
    bool Open(core::tessaryn::StreamType& type) override;
    bool Next() override;
    std::int64_t GetTime() const override {
        return reader.GetSample().GetTimeStamp().epochMicroseconds();
    }
    /// Of samples of an older type, copies the entries that have the same name and value type in
    /// the newest one.
    void Fill(core::tessaryn::Sample& sample) override;
    std::string GetPosition() const override { return name + ":" + std::to_string(rows); }
    std::vector<std::string> GetUnits() const override;

  private:
    std::shared_ptr<const storage::History> history;
    storage::HistoryReader reader;
    std::vector<storage::HistoryEntry> entries;
    std::string name;
    std::uint64_t rows = 0;
};

}  // namespace velmora::tool
