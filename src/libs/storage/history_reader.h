// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/rule.h"
#include "storage/export.h"
#include "tessaryn/sample.h"

#include <Poco/Timestamp.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::storage {

class History;
class HistoryConnection;
class HistoryCursor;
struct StoredStream;

/// Which samples of a history are read.
///
/// \threadsafety external
struct HistoryQuery {
    /// A path, or a pattern of paths (see `delivery::StreamPattern`); everything unless given.
    std::string streams = ">";
    /// Splits pattern and paths.
    char separator = '/';
    std::optional<Poco::Timestamp> from = {};  ///< the samples stamped then or later
    std::optional<Poco::Timestamp> to = {};    ///< the samples stamped then or before
    /// Selects samples, each as if it was pushed; null selects all.
    std::optional<delivery::Rule> rule = {};
    /// The maximum number of samples of each stream, the newest of those selected above; 0 for all.
    std::uint64_t newest = 0;
    bool isBackwards = false;  ///< the newest sample first
};

/// Reads samples of one or several streams in the order of time; samples of equal times in the
/// order of streams, then of arrival.
///
/// The range of time is looked up in an index. Memory does not depend on the number of rows: the
/// reader holds one sample for each stream. A reader sees what was committed when it started, or
/// continued after `Suspend`; others may write meanwhile.
///
/// \threadsafety external: with the history
class STORAGE_API HistoryReader {
  public:
    /// \param history must outlive the reader
    /// \throws HistoryException; std::invalid_argument for a malformed pattern
    explicit HistoryReader(const History& history, HistoryQuery query = {});
    HistoryReader(HistoryReader&& other) noexcept;
    HistoryReader& operator=(HistoryReader&& other) noexcept;
    ~HistoryReader();

    /// Goes to the next sample.
    /// \return whether there is one
    /// \throws HistoryException when the file cannot be read, or a row does not fit its layout;
    /// what the rule throws
    bool Next();
    /// The sample that `Next` went to; changed by the next call. Its type lives as long as the
    /// reader, and is named as it was when the sample was written.
    /// \pre `Next` has returned true
    const core::tessaryn::Sample& GetSample() const { return *sample; }
    /// The path of the sample's stream.
    const std::string& GetPath() const { return *path; }

    /// Restarts at a time.
    /// \param time the least time of samples, the greatest where they are read backwards; those
    /// outside of the query's range are still left out
    void Seek(const Poco::Timestamp& time);
    /// Releases the file until the next call of `Next`, so that the write-ahead log does not grow
    /// while the reader is idle. The reader then sees what was committed meanwhile.
    void Suspend();

  private:
    struct Source;

    void AddStream(const StoredStream& stream);
    void FindNewest(const StoredStream& stream, std::size_t firstSource);
    void Start();
    void Add(Source& source);
    bool Matches(core::tessaryn::Sample& candidate) const;
    static bool ComesLater(const Source* a, const Source* b);

    HistoryConnection* connection;
    HistoryQuery query;
    /// In the order of streams, then of layouts.
    std::vector<std::unique_ptr<Source>> sources;
    /// A heap of the sources that have a row; the front has the next one.
    std::vector<Source*> heap;
    /// Samples returned so far, by stream.
    std::map<std::int64_t, std::uint64_t> counts;
    Source* current = nullptr;
    core::tessaryn::Sample* sample = nullptr;
    const std::string* path = nullptr;
    bool isStarted = false;
};

}  // namespace velmora::storage
