// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/change.h"
#include "delivery/change_queue.h"
#include "delivery/job.h"
#include "delivery/options.h"
#include "delivery/rule.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <string>

namespace velmora::core::tessaryn {
class Stream;
}

namespace velmora::delivery {

class Scheduler;

/// One delivery: moves changes from a stream through a bounded queue to a handler.
///
/// A push calls `Offer` on the pusher's thread, under the stream's locks: conditions are evaluated,
/// and a copy of the sample is queued. A channel that has work is in the scheduler's list once; a
/// worker takes it from there and calls `Work`.
///
/// The channel is kept alive by the `Delivery`, the delegate in the stream, and the scheduler's
/// list. The destruction of the delegate tells it that the stream has gone.
///
/// Order of locks: a stream's, `conditionsMutex`, `mutex`, the scheduler's. `attachMutex` comes
/// before a stream's.
///
/// \threadsafety guarded
class Channel : public Job, private Sink {
  public:
    Channel(std::shared_ptr<Scheduler> scheduler, std::string path, Handler handler,
            DeliveryOptions options);
    ~Channel() override;

    /// Subscribes to a stream; once, and before anything else.
    /// \param withHistory whether the samples that the stream holds come first
    void Attach(core::tessaryn::Stream& stream, const Rule& rule, bool withHistory);

    /// \name For the delegate
    ///@{
    void Offer(core::tessaryn::SubscriptionArgs& change);
    /// The stream has dropped the delegate of this channel.
    void OnDetached() noexcept;
    ///@}

    /// \name For the handle
    ///@{
    void Stop() override;
    bool Drain(std::chrono::milliseconds timeout) override;
    void Flush(const Poco::Timestamp& now);
    bool HasEnded() const;
    DeliveryStatistics GetStatistics() const override;
    ///@}

    /// Handles a batch of the waiting changes.
    bool Work(Batch& batch) override;
    void Look() override;

  private:
    using Lock = std::unique_lock<std::mutex>;

    void Emit(core::tessaryn::SubscriptionArgs& change) override;
    void ReadHistory(core::tessaryn::Stream& stream, const Rule& rule);
    bool MakeRoom(Lock& lock);
    bool MayWait() const;
    bool HasWork() const { return !IsEmpty() || (!isAttached && !hasEnded); }
    bool IsEmpty() const { return history.IsEmpty() && queue.IsEmpty(); }
    bool IsDone(std::uint64_t lastSequence) const;
    void OnAdded(Lock& lock);
    void Schedule(Lock& lock);
    void Unsubscribe();
    void Take(Batch& batch);
    void Handle(Batch& batch);
    void Call(Batch& batch);
    void ReportFailure(const std::exception_ptr& failure);
    void EndTurn(Lock& lock, Batch& batch);
    void Release(Lock& lock);

    const std::shared_ptr<Scheduler> scheduler;
    const bool gathers;
    const std::string path;

    /// Written with `mutex` held, but read by a worker between two changes without it; apart from
    /// the fields that pushers write, so as not to share a cache line.
    std::atomic<bool> isStopped = false;
    /// The handler has pushed to this very stream, so a pusher must not wait: it might wait for
    /// itself.
    std::atomic<bool> handlerPushesHere = false;

    std::recursive_mutex attachMutex;
    /// Guarded by `attachMutex`: the stream that has the delegate; null if none has. The mutex is
    /// recursive, since the delegate may be destroyed, and call `OnDetached`, inside the call that
    /// removes it.
    core::tessaryn::Stream* attachedTo = nullptr;

    std::mutex conditionsMutex;
    /// Guarded by `conditionsMutex`.
    ConditionChain conditions;

    mutable std::mutex mutex;
    // All below guarded by `mutex`. The handler is called without it, by one worker at a time.
    Handler handler;
    DeliveryOptions options;
    /// What the stream held before the subscription; handled before the queue.
    ChangeQueue history;
    ChangeQueue queue;
    DeliveryStatistics counts;
    const core::tessaryn::Stream* source = nullptr;  ///< for `Change::stream`; never dereferenced
    std::uint64_t sequence = 0;
    std::uint64_t lastHandled = 0;
    std::uint64_t firstInHand = 0;
    std::size_t inHand = 0;
    bool isAttached = false;
    bool isReadingHistory = false;
    bool isScheduled = false;  ///< in the scheduler's list, or in a worker's hands
    bool isLookedAt = false;   ///< since the current turn has taken its changes
    int busy = 0;              ///< threads that use or destroy the handler
    bool isFast = false;       ///< the handler may get several changes in a turn
    bool hasEnded = false;
    std::condition_variable roomMade;
    std::condition_variable quiet;
};

}  // namespace velmora::delivery
