// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/serve_config.h"
#include "serve/service_log.h"
#include "storage/history.h"
#include "storage/history_writer.h"
#include "tessaryn/document.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmora::tool {

/// A stream of a plant.
struct PlantStream {
    std::string path;
    /// \ownership observes: lives as long as the plant
    core::tessaryn::Stream* stream = nullptr;
    /// The time of the newest sample that the stream had when the service started.
    std::int64_t known = INT64_MIN;
    /// Units of entries.
    std::map<std::string, std::string> units{};
};

/// The streams of a service, with their history and the checkpoint from which they continue.
///
/// Streams are never removed.
///
/// \threadsafety guarded, but for `Open`, `Close` and `OnNewStream`
class Plant {
  public:
    /// \param config \ownership observes
    /// \param log \ownership observes
    Plant(const ServeConfig& config, ServiceLog& log);
    Plant(const Plant&) = delete;
    Plant& operator=(const Plant&) = delete;
    ~Plant();

    /// Sets a function that is called with each new stream before its first sample. A lock is held
    /// meanwhile, so the function must not open streams.
    void OnNewStream(std::function<void(const PlantStream&)> action) {
        onNewStream = std::move(action);
    }

    /// Loads the checkpoint, opens the history, continues its streams with their newest samples,
    /// and adds the streams that the configuration declares.
    /// \throws std::exception when the history cannot be opened or a stream cannot be added
    void Open();

    /// The stream of a path, which is added if it does not exist.
    /// \param entries of a new stream, unless the configuration gives them
    /// \param units of the entries, in their order
    /// \throws CommandError when there would be too many streams; std::invalid_argument for an
    /// invalid path
    const PlantStream& OpenStream(const std::string& path,
                                  const core::tessaryn::StreamType& entries,
                                  const std::vector<std::string>& units);
    /// The types of a path's entries, from the configuration or an existing stream.
    std::vector<ColumnType> GetLikelyTypes(const std::string& path) const;

    /// Pushes a sample, and writes it to the history.
    /// \param resumes whether the source repeats its earlier samples: one that is not newer than
    /// the stream's newest at the start is only written to the history, unless it is there already
    void Push(const PlantStream& target, std::unique_ptr<core::tessaryn::Sample> sample,
              bool resumes);

    /// Commits all samples written to the history so far, if there is a history.
    /// \throws storage::HistoryException when that fails; the history tries again later
    void Commit();
    /// Saves the checkpoint, if the configuration has one. Failures are logged.
    void Save();
    /// Commits the samples written to the history. Nothing must be pushed after that.
    void Close(std::chrono::milliseconds timeout);

    core::tessaryn::Document& GetDocument() { return document; }
    /// The history's file; empty for none.
    const std::string& GetHistoryFile() const { return historyFile; }
    storage::HistoryWriterStatistics GetHistoryStatistics() const;
    std::uint64_t GetPushed() const { return pushed; }
    std::size_t GetNumStreams() const;
    /// The unit of an entry; empty for none.
    std::string GetUnit(const std::string& path, const std::string& entry) const;

  private:
    void LoadCheckpoint();
    void ContinueFromHistory();
    void ContinueStream(const storage::History& history, const storage::HistoryStream& stream);
    const StreamConfig* FindConfig(const std::string& path) const;
    long GetCapacity(const std::string& path) const;
    core::tessaryn::Stream& MakeStream(const std::string& path,
                                       const core::tessaryn::StreamType& entries);
    const PlantStream& AddStream(const std::string& path, core::tessaryn::Stream& stream);
    void WriteToHistory(const std::string& path, core::tessaryn::Sample&& sample, bool ifNew);

    const ServeConfig& config;
    ServiceLog& log;
    std::function<void(const PlantStream&)> onNewStream;
    std::string historyFile;
    std::string checkpointFile;
    core::tessaryn::Document document;
    std::unique_ptr<storage::HistoryWriter> history;
    std::atomic<std::uint64_t> pushed = 0;
    mutable std::mutex mutex;
    /// Guarded by the mutex, like the structure of the document. Addresses of elements do not
    /// change.
    std::map<std::string, PlantStream> streams;
};

/// The path of a file of the service: a relative path is below the folder that systemd provides.
std::string InStateFolder(const std::string& path);

}  // namespace velmora::tool
