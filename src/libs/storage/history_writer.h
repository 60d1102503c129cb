// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/dispatcher.h"
#include "delivery/options.h"
#include "delivery/rule.h"
#include "storage/export.h"
#include "storage/history_writer_options.h"
#include "tessaryn/sample.h"

#include <chrono>
#include <memory>
#include <string>

namespace velmora::core::tessaryn {
class Stream;
class StreamRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::storage {

/// Writes samples to a history, on a thread of its own.
///
/// Samples wait in a queue until there are `maxBatch` of them, or the first has waited for
/// `interval`; then they are written in one transaction. If that fails, they stay in the queue and
/// writing is tried again: a full disk or a locked file costs no sample as long as the queue has
/// room. Committed samples survive a crash.
///
/// A stream's first sample creates its table and view; a sample of another type or version creates
/// a further table. Stream types must outlive the queued samples.
///
/// \threadsafety guarded: but for construction and destruction
class STORAGE_API HistoryWriter {
  public:
    /// Opens or creates the file.
    /// \throws HistoryException as `History`; std::invalid_argument for a size or an interval of 0
    explicit HistoryWriter(const std::string& path, HistoryWriterOptions options = {});
    HistoryWriter(const HistoryWriter&) = delete;
    HistoryWriter& operator=(const HistoryWriter&) = delete;
    /// As `Close`, but throws nothing.
    ~HistoryWriter();

    /// \name By hand These wait while the queue is full.
    /// \throws HistoryException when the queue is full because writing fails, with the reason; the
    /// sample is lost and counted. std::logic_error after `Close`
    ///@{
    void Write(const std::string& path, const core::tessaryn::Sample& sample);
    void Write(const std::string& path, core::tessaryn::Sample&& sample);
    /// As `Write`, but skips the sample if the history had a row of the stream with the same time
    /// and values before this writer wrote to the stream. A host that reads its source again after
    /// a crash thus writes nothing twice.
    void WriteIfNew(const std::string& path, core::tessaryn::Sample sample);
    ///@}

    /// \name From streams, by the workers of a dispatcher Removed samples stay in the history. Each
    /// change of a sample adds a row; the rule "pushed()" excludes changes.
    ///@{
    /// Writes the changes of all streams whose path matches a pattern, from now on, including those
    /// of streams that are added later. Samples that the streams already hold are not written.
    /// \param repository must outlive the writer, or `Close` comes first
    /// \throws as `Dispatcher::SubscribeAll`
    void Attach(delivery::Dispatcher& dispatcher, core::tessaryn::StreamRepository& repository,
                const std::string& pattern, const delivery::Rule& rule = defaultRule,
                delivery::DeliveryOptions options = GetDeliveryOptions());
    /// Writes the samples that a stream holds, as `WriteIfNew`, then its changes.
    /// \param path of the stream in the history
    /// \throws as `Dispatcher::SubscribeWithHistory`
    void Attach(delivery::Dispatcher& dispatcher, const std::string& path,
                core::tessaryn::Stream& stream, const delivery::Rule& rule = defaultRule,
                delivery::DeliveryOptions options = GetDeliveryOptions());
    /// Pushed and changed samples.
    static constexpr const char* defaultRule = "pushed() || changed()";
    /// A queue of 10,000 changes for each stream; new streams are found within a second.
    static delivery::DeliveryOptions GetDeliveryOptions();
    ///@}

    /// Writes what is queued now.
    /// \throws HistoryException when that fails; the samples stay in the queue
    void Flush();
    /// Ends the deliveries, writes the changes that they and the queue hold, and closes the file.
    /// \param timeout for the deliveries' queued changes
    /// \throws HistoryException when writing fails; the queued samples are then lost
    void Close(std::chrono::milliseconds timeout = std::chrono::seconds(10));
    HistoryWriterStatistics GetStatistics() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

}  // namespace velmora::storage
