// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/channel.h"

#include "delivery/scheduler.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_subscription.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/AbstractDelegate.h>
#include <Poco/Exception.h>
#include <Poco/Logger.h>

#include <algorithm>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

namespace velmora::delivery {

using namespace core::tessaryn;

namespace {

// A handler that takes less time than this gets up to `maxBatch` changes in a turn.
constexpr auto fastHandler = std::chrono::microseconds(10);
constexpr std::size_t maxBatch = 32;

// The channel whose handler runs on this thread.
thread_local const Channel* channelOfThread = nullptr;

class HandlerScope {
  public:
    explicit HandlerScope(const Channel* channel)
        : outer(std::exchange(channelOfThread, channel)) {}
    HandlerScope(const HandlerScope&) = delete;
    HandlerScope& operator=(const HandlerScope&) = delete;
    ~HandlerScope() { channelOfThread = outer; }

  private:
    const Channel* outer;
};

// Shared by the clones of the delegate: the destructor runs when the stream has dropped the last
// one.
class Attachment {
  public:
    explicit Attachment(std::shared_ptr<Channel> channel) : channel(std::move(channel)) {}
    Attachment(const Attachment&) = delete;
    Attachment& operator=(const Attachment&) = delete;
    ~Attachment() { channel->OnDetached(); }

    void Offer(SubscriptionArgs& args) const { channel->Offer(args); }

  private:
    std::shared_ptr<Channel> channel;
};

// The delegate that the stream calls. Without an attachment it only serves as a key for
// `Unsubscribe`.
class ChannelDelegate : public Poco::AbstractDelegate<SubscriptionArgs> {
  public:
    ChannelDelegate(const Channel* identity, std::shared_ptr<Attachment> attachment)
        : identity(identity), attachment(std::move(attachment)) {}

    bool notify(const void* /*sender*/, SubscriptionArgs& args) override {
        attachment->Offer(args);
        return true;
    }
    bool equals(const AbstractDelegate& other) const override {
        const auto* const same = dynamic_cast<const ChannelDelegate*>(&other);
        return same != nullptr && same->identity == identity;
    }
    AbstractDelegate* clone() const override { return new ChannelDelegate(*this); }
    void disable() override {}

  private:
    const Channel* identity;
    std::shared_ptr<Attachment> attachment;
};

void LogFailure(const std::exception_ptr& failure) {
    std::string reason = "an exception of another kind than std::exception";
    try {
        std::rethrow_exception(failure);
    } catch (const Poco::Exception& error) {
        reason = error.displayText();
    } catch (const std::exception& error) {
        reason = error.what();
    } catch (...) {
    }
    Poco::Logger::get("velmora.delivery").warning("A handler failed: " + reason);
}

}  // namespace

Channel::Channel(std::shared_ptr<Scheduler> scheduler, std::string path, Handler handler,
                 DeliveryOptions options)
    : scheduler(std::move(scheduler)),
      gathers(this->scheduler->Gathers()),
      path(std::move(path)),
      conditions(std::move(options.conditions)),
      handler(std::move(handler)),
      options(std::move(options)) {
    if (!this->handler) {
        throw std::invalid_argument("A delivery needs a handler.");
    }
    if (this->options.capacity == 0) {
        throw std::invalid_argument("A delivery needs a capacity of at least one change.");
    }
    if (this->options.overflow == Overflow::keepLatest) {
        this->options.capacity = 1;
    }
    this->options.conditions = ConditionChain();
}

Channel::~Channel() {
    scheduler->Unregister(*this, counts);
}

void Channel::Attach(Stream& stream, const Rule& rule, bool withHistory) {
    // Not in the constructor: a worker that looks at all jobs needs a shared pointer to this one.
    scheduler->Register(*this);
    {
        const Lock lock(mutex);
        source = &stream;
        isAttached = true;
    }
    {
        const std::lock_guard lock(attachMutex);
        attachedTo = &stream;
    }
    const ChannelDelegate delegate(
        this, std::make_shared<Attachment>(std::static_pointer_cast<Channel>(shared_from_this())));
    try {
        const StreamSubscription subscription(rule.Get(), delegate);
        if (withHistory) {
            // As one operation, so that no push comes between.
            stream.AtomicExecute([&] {
                ReadHistory(stream, rule);
                stream.Subscribe(subscription);
            });
        } else {
            stream.Subscribe(subscription);
        }
    } catch (...) {
        const Lock lock(mutex);
        isStopped = true;
        throw;
    }
}

void Channel::ReadHistory(Stream& stream, const Rule& rule) {
    {
        const Lock lock(mutex);
        isReadingHistory = true;
    }
    stream.GetAllInPushOrder([&](const std::vector<Sample*>& samples) {
        for (const Sample* const sample : samples) {
            Sample copy(*sample);
            SubscriptionArgs change{pushed, &copy, nullptr};
            if (rule.Applies(change)) {
                Offer(change);
            }
        }
    });
    Lock lock(mutex);
    isReadingHistory = false;
    while (options.overflow == Overflow::keepLatest && history.GetSize() > 1) {
        history.Drop();
        ++counts.dropped;
    }
    if (!history.IsEmpty()) {
        OnAdded(lock);
    }
}

void Channel::Offer(SubscriptionArgs& change) {
    if (isStopped.load(std::memory_order_relaxed)) {
        return;
    }
    if (channelOfThread == this) {
        handlerPushesHere.store(true, std::memory_order_relaxed);
    }
    // Needs no lock: whether there are conditions never changes.
    if (conditions.IsEmpty()) {
        Emit(change);
        return;
    }
    const std::lock_guard lock(conditionsMutex);
    const std::uint64_t lateBefore = conditions.GetLate();
    conditions.Process(change, *this);
    if (conditions.GetLate() != lateBefore) {
        const Lock countsLock(mutex);
        ++counts.late;
    }
}

void Channel::Flush(const Poco::Timestamp& now) {
    const std::lock_guard lock(conditionsMutex);
    conditions.Flush(now, *this);
}

// Queues a copy, which is made before the lock is taken; what it replaces is freed after the lock
// is released.
void Channel::Emit(SubscriptionArgs& change) {
    std::optional<QueuedChange> queued;
    try {
        queued.emplace(change);
    } catch (const std::bad_alloc&) {
        // Counted below.
    }
    Lock lock(mutex);
    if (isStopped) {
        return;
    }
    ++counts.accepted;
    ++sequence;
    try {
        if (!queued || (!isReadingHistory && !MakeRoom(lock))) {
            ++counts.dropped;
            return;
        }
        queued->sequence = sequence;
        if (isReadingHistory) {
            history.Push(*queued);
            return;
        }
        queue.Push(*queued);
    } catch (const std::bad_alloc&) {
        ++counts.dropped;
        return;
    }
    counts.maxWaiting = std::max<std::uint64_t>(counts.maxWaiting, queue.GetSize());
    OnAdded(lock);
}

// Applies the overflow policy to a full queue. Returns whether there is room for one change.
bool Channel::MakeRoom(Lock& lock) {
    if (queue.GetSize() < options.capacity) {
        return true;
    }
    switch (options.overflow) {
        case Overflow::dropOldest:
        case Overflow::keepLatest:
            queue.Drop();
            ++counts.dropped;
            return true;
        case Overflow::dropNewest:
            return false;
        case Overflow::wait:
            break;
    }
    if (!MayWait()) {
        return false;
    }
    scheduler->Hurry();
    return roomMade.wait_for(lock, options.maxWait, [this] {
        return isStopped || queue.GetSize() < options.capacity;
    }) && !isStopped;
}

// A waiting worker could be the one that has to make room; and if the handler pushes to this
// stream, it needs the lock of a waiting pusher.
bool Channel::MayWait() const {
    return !scheduler->IsWorker() && !handlerPushesHere.load(std::memory_order_relaxed);
}

// Schedules the channel, unless workers look for work themselves.
void Channel::OnAdded(Lock& lock) {
    if (!gathers) {
        Schedule(lock);
    }
}

void Channel::Look() {
    Lock lock(mutex);
    if (!isStopped && HasWork()) {
        // If the channel is scheduled, its current turn sees the flag.
        isLookedAt = true;
        Schedule(lock);
    }
}

// Puts the channel into the scheduler's list, unless it is listed or a worker has it. May release
// the lock.
void Channel::Schedule(Lock& lock) {
    if (isScheduled) {
        return;
    }
    isScheduled = true;
    std::shared_ptr<Job> self = shared_from_this();
    lock.unlock();
    scheduler->Schedule(std::move(self));
}

void Channel::OnDetached() noexcept {
    {
        const std::lock_guard lock(attachMutex);
        attachedTo = nullptr;
    }
    try {
        Flush(Poco::Timestamp::TIMEVAL_MAX);
    } catch (...) {
        LogFailure(std::current_exception());
    }
    Lock lock(mutex);
    isAttached = false;
    if (!isStopped) {
        OnAdded(lock);
    }
}

void Channel::Unsubscribe() {
    const std::lock_guard lock(attachMutex);
    if (attachedTo != nullptr) {
        attachedTo->Unsubscribe(StreamSubscription(Always(), ChannelDelegate(this, nullptr)));
    }
}

void Channel::Stop() {
    {
        const Lock lock(mutex);
        isStopped = true;
        roomMade.notify_all();
    }
    Unsubscribe();
    Lock lock(mutex);
    if (channelOfThread == this) {
        // Called by the handler itself: the worker releases it after it has returned.
        return;
    }
    quiet.wait(lock, [this] { return busy == 0; });
    Release(lock);
}

// Drops the queued changes, and destroys the host's functions without holding the lock.
void Channel::Release(Lock& lock) {
    ++busy;
    counts.dropped += history.GetSize() + queue.GetSize();
    {
        const ChangeQueue droppedHistory = std::exchange(history, {});
        const ChangeQueue droppedQueue = std::exchange(queue, {});
        const Handler droppedHandler = std::exchange(handler, nullptr);
        const DeliveryOptions droppedOptions = std::exchange(options, {});
        lock.unlock();
    }
    lock.lock();
    --busy;
    quiet.notify_all();
}

bool Channel::Drain(std::chrono::milliseconds timeout) {
    if (channelOfThread == this) {
        return false;
    }
    Lock lock(mutex);
    const std::uint64_t last = sequence;
    scheduler->Hurry();
    return quiet.wait_for(lock, timeout, [&] { return IsDone(last); });
}

// Whether all changes up to a sequence number have been handled or dropped; and, if the stream has
// gone, whether the delivery has ended.
bool Channel::IsDone(std::uint64_t lastSequence) const {
    return (isAttached || hasEnded || isStopped) && (inHand == 0 || firstInHand > lastSequence) &&
           (history.IsEmpty() || history.Front().sequence > lastSequence) &&
           (queue.IsEmpty() || queue.Front().sequence > lastSequence);
}

bool Channel::HasEnded() const {
    const Lock lock(mutex);
    return hasEnded || isStopped;
}

DeliveryStatistics Channel::GetStatistics() const {
    const Lock lock(mutex);
    DeliveryStatistics now = counts;
    now.waiting = history.GetSize() + queue.GetSize() + inHand;
    return now;
}

bool Channel::Work(Batch& batch) {
    const HandlerScope scope(this);
    Lock lock(mutex);
    ++busy;
    if (!isStopped && IsEmpty() && !isAttached && !hasEnded) {
        hasEnded = true;
        const std::function<void()> onEnd = options.onEnd;
        lock.unlock();
        try {
            if (onEnd) {
                onEnd();
            }
        } catch (...) {
            LogFailure(std::current_exception());
        }
        lock.lock();
    }
    if (!isStopped) {
        Take(batch);
    }
    lock.unlock();
    Handle(batch);
    lock.lock();
    EndTurn(lock, batch);
    const bool hasMore = isScheduled;
    lock.unlock();
    batch.changes.clear();
    return hasMore;
}

// Moves the oldest changes into the batch: one for a slow handler, several for a fast one, and all
// of them when workers collect changes at intervals.
void Channel::Take(Batch& batch) {
    std::size_t maxCount = isFast ? maxBatch : 1;
    if (gathers) {
        maxCount = history.GetSize() + queue.GetSize();
    }
    isLookedAt = false;
    history.MoveTo(batch.changes, maxCount);
    queue.MoveTo(batch.changes, maxCount - batch.changes.size());
    inHand = batch.changes.size();
    firstInHand = inHand == 0 ? 0 : batch.changes.front().sequence;
    if (inHand != 0 && options.overflow == Overflow::wait) {
        roomMade.notify_all();
    }
}

// Calls the handler for each change of the batch until the channel is stopped. Meanwhile it does
// not touch the fields that pushers write, so that these stay in the cache of the pushers' core.
void Channel::Handle(Batch& batch) {
    const Stream* const stream = source;
    std::uint64_t last = lastHandled;
    for (QueuedChange& queued : batch.changes) {
        if (isStopped.load(std::memory_order_acquire)) {
            break;
        }
        Change& change = batch.handed;
        change.changeType = queued.changeType;
        change.sample = std::move(queued.sample);
        change.stream = stream;
        change.path = path;
        change.sender = queued.sender;
        change.sequence = queued.sequence;
        change.dropped = queued.sequence - last - 1;
        last = queued.sequence;
        Call(batch);
    }
    lastHandled = last;
}

void Channel::Call(Batch& batch) {
    const auto begin = std::chrono::steady_clock::now();
    std::exception_ptr failure;
    try {
        handler(batch.handed);
    } catch (...) {
        failure = std::current_exception();
    }
    batch.lastHandler = std::chrono::steady_clock::now() - begin;
    if (failure) {
        ReportFailure(failure);
        ++batch.counts.failures;
    }
    ++batch.counts.delivered;
    batch.counts.handlerTime += batch.lastHandler;
    batch.counts.longestHandler = std::max(batch.counts.longestHandler, batch.lastHandler);
}

void Channel::ReportFailure(const std::exception_ptr& failure) {
    if (!options.onError) {
        LogFailure(failure);
        return;
    }
    try {
        options.onError(failure);
    } catch (...) {
        LogFailure(std::current_exception());
    }
}

// Adds up the counts of a batch and ends the turn. The channel stays scheduled while there is more
// to do.
void Channel::EndTurn(Lock& lock, Batch& batch) {
    batch.counts.dropped = inHand - batch.counts.delivered;
    counts += batch.counts;
    isFast = batch.counts.delivered != 0 ? batch.lastHandler < fastHandler : isFast;
    batch.counts = {};
    inHand = 0;
    queue.TakeBack(batch.changes, options.capacity);
    if (isStopped) {
        isScheduled = false;
        Release(lock);
    } else {
        isScheduled = (!gathers || isLookedAt) && HasWork();
    }
    --busy;
    quiet.notify_all();
}

}  // namespace velmora::delivery
