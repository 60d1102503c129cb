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

// Below this a handler is given several changes at a time.
constexpr auto fastHandler = std::chrono::microseconds(10);

// The channel whose handler the thread is in.
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

// Shared by the clones of the delegate: when the last one goes, the stream has none any more.
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

// What the stream calls. Without an attachment it only stands for its equals.
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
    this->scheduler->Register(*this);
}

Channel::~Channel() {
    scheduler->Unregister(*this, counts);
}

void Channel::Attach(Stream& stream, const Rule& rule, bool withHistory) {
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
            // In one go, so that no push comes between.
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
    if (options.overflow == Overflow::keepLatest && history.size() > 1) {
        counts.dropped += history.size() - 1;
        history.erase(history.begin(), history.end() - 1);
    }
    if (!history.empty()) {
        Schedule(lock);
    }
}

void Channel::Offer(SubscriptionArgs& change) {
    if (isStopped.load(std::memory_order_relaxed)) {
        return;
    }
    if (channelOfThread == this) {
        handlerPushesHere.store(true, std::memory_order_relaxed);
    }
    // Whether there are conditions never changes.
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

// Queues a copy, which is made before the lock is taken; what it displaces is freed after.
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
            history.push_back(std::move(*queued));
            return;
        }
        queue.Push(*queued);
    } catch (const std::bad_alloc&) {
        ++counts.dropped;
        return;
    }
    counts.maxWaiting = std::max<std::uint64_t>(counts.maxWaiting, queue.GetSize());
    Schedule(lock);
}

// Whether there is room for one change, when what may be done for it has been done.
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
    return MayWait() && roomMade.wait_for(lock, options.maxWait, [this] {
        return isStopped || queue.GetSize() < options.capacity;
    }) && !isStopped;
}

// A worker that waited could be the one to make room, and a handler that pushes to this stream
// waits for the pusher that would wait for it.
bool Channel::MayWait() const {
    return !scheduler->IsWorker() && !handlerPushesHere.load(std::memory_order_relaxed);
}

// Puts the channel into the scheduler's list, unless it is there or at work. Gives the lock up.
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
        Schedule(lock);
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
        // The handler's own call: the worker releases it when it has returned.
        return;
    }
    quiet.wait(lock, [this] { return busy == 0; });
    Release(lock);
}

// Drops what is queued, and destroys the host's functions without the lock.
void Channel::Release(Lock& lock) {
    ++busy;
    counts.dropped += HistoryLeft() + queue.GetSize();
    nextOfHistory = 0;
    {
        const std::vector<QueuedChange> droppedHistory = std::exchange(history, {});
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
    return quiet.wait_for(lock, timeout, [&] { return IsDone(last); });
}

// Whether no change up to a sequence number waits or is in hand; without a stream, whether the end
// has come.
bool Channel::IsDone(std::uint64_t lastSequence) const {
    return (isAttached || hasEnded || isStopped) && (inHand == 0 || firstInHand > lastSequence) &&
           (HistoryLeft() == 0 || history[nextOfHistory].sequence > lastSequence) &&
           (queue.IsEmpty() || queue.Front().sequence > lastSequence);
}

bool Channel::HasEnded() const {
    const Lock lock(mutex);
    return hasEnded || isStopped;
}

DeliveryStatistics Channel::GetStatistics() const {
    const Lock lock(mutex);
    DeliveryStatistics now = counts;
    now.waiting = HistoryLeft() + queue.GetSize() + inHand;
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
    const std::size_t taken = isStopped ? 0 : Take(batch);
    lock.unlock();
    const std::size_t handled = Handle(batch, taken);
    lock.lock();
    EndTurn(lock, taken, handled);
    return isScheduled;
}

// Takes what waits longest into the batch, one change for a slow handler.
std::size_t Channel::Take(Batch& batch) {
    const std::size_t most = isFast ? Batch::maxSize : 1;
    std::size_t taken = 0;
    for (; taken < most && !IsEmpty(); ++taken) {
        if (HistoryLeft() == 0) {
            queue.Pop(batch.changes[taken]);
        } else {
            ChangeQueue::Exchange(batch.changes[taken], history[nextOfHistory++]);
        }
    }
    if (!history.empty() && HistoryLeft() == 0) {
        history = {};
        nextOfHistory = 0;
    }
    inHand = taken;
    firstInHand = taken == 0 ? 0 : batch.changes.front().sequence;
    if (taken != 0 && options.overflow == Overflow::wait) {
        roomMade.notify_all();
    }
    return taken;
}

// Calls the handler for each change of the batch until the channel is stopped; returns for how
// many.
std::size_t Channel::Handle(Batch& batch, std::size_t count) {
    std::size_t handled = 0;
    while (handled < count && !isStopped.load(std::memory_order_acquire)) {
        QueuedChange& queued = batch.changes[handled++];
        Change& change = batch.handed;
        change.changeType = queued.changeType;
        change.sample = std::move(queued.sample);
        change.stream = source;
        change.path = path;
        change.sender = queued.sender;
        change.sequence = queued.sequence;
        change.dropped = queued.sequence - lastHandled - 1;
        lastHandled = queued.sequence;
        Call(change);
    }
    return handled;
}

void Channel::Call(Change& change) {
    const auto begin = std::chrono::steady_clock::now();
    std::exception_ptr failure;
    try {
        handler(change);
    } catch (...) {
        failure = std::current_exception();
    }
    const std::chrono::nanoseconds took = std::chrono::steady_clock::now() - begin;
    if (failure) {
        ReportFailure(failure);
    }
    const Lock lock(mutex);
    isFast = took < fastHandler;
    counts.failures += failure ? 1 : 0;
    counts.handlerTime += took;
    counts.longestHandler = std::max(counts.longestHandler, took);
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

// Counts a batch, and ends the turn: the channel stays scheduled while there is more to do.
void Channel::EndTurn(Lock& lock, std::size_t taken, std::size_t handled) {
    inHand = 0;
    counts.delivered += handled;
    counts.dropped += taken - handled;
    if (isStopped) {
        isScheduled = false;
        Release(lock);
    } else {
        isScheduled = !IsEmpty() || (!isAttached && !hasEnded);
    }
    --busy;
    quiet.notify_all();
}

}  // namespace velmora::delivery
