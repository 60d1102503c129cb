// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer_fwd.h"
#include "tessaryn/atomic_executor.h"
#include "tessaryn/export.h"
#include "tessaryn/pushing_threads.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_ring.h"
#include "tessaryn/stream_subscription.h"
#include "tessaryn/subscriber_list.h"

#include <Poco/Timespan.h>
#include <Poco/Timestamp.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

class StreamType;
class StreamTypeRepository;

/// A bounded buffer of the newest samples of one stream type, and the subscriptions to its changes.
///
/// New samples are pushed at the head of a ring; when it holds `GetMaxSize()` samples the next push
/// deletes the oldest, without a notification for it. Each change notifies the subscriptions,
/// synchronously, on the thread that made it.
///
/// Invariants:
/// 1. The ring is never longer than `GetMaxSize()`; it grows 1, 3, 7, 15, ... slots and never
///    shrinks but by `Clear`.
/// 2. The stream owns its samples, all of its stream type. Readers get them through callbacks that
///    run while the stream is locked; the pointers are valid only inside.
/// 3. The newest sample is at the current slot; popping steps back through the ring like a stack.
///
/// Callbacks (fills, queries, rules and delegates, destructors of a host's samples) run with the
/// stream's sample mutex held, rules and delegates with the subscriptions' mutex, too. They may
/// call every public operation of the same stream on that thread:
/// - adding or removing a subscriber during a notification, even the one that is being called,
///   takes effect from the next notification on, which may be one inside the current one;
/// - a sample that was in the stream when a fill, a change or a query began, and leaves it
///   meanwhile, is deleted when that callback has returned; the notification of a push still gets
///   it. All other samples are deleted at once when they are popped, overwritten or cleared. The
///   memory of one that a push has overwritten, unless it is of a derived class, is reused by the
///   next push, or freed when the push has returned.
///
/// They must not wait for another thread that needs the stream, nor destroy the stream. Lock order:
/// repository, groups from the root down, the stream's samples, its subscriptions.
///
/// The stream type must outlive the stream.
///
/// \threadsafety guarded
class TESSARYN_API Stream : public utils::AtomicExecutor<Stream>,
                            private serialization::ISerializable {
  public:
    /// The stored samples that a query passes to its callback, in storage order.
    using SamplesCallback = std::function<void(const std::vector<Sample*>&)>;

    /// Flags for `Clear`, which can be combined.
    enum ClearFlags : unsigned int { clearSamples = 1, clearSubscriptions = 2 };

    /// An empty stream.
    /// \param streamType \ownership observes: the type of every sample; must outlive the stream
    /// \param maxSize the stream's capacity, 1 to 2^31-1
    /// \throws std::invalid_argument for a size out of that range, and when the type is null
    Stream(StreamType* streamType, long maxSize);

    /// Reads a stream from its node: "Type", "TypeVersion", "MaxSize" and the samples under
    /// "Samples", of which the last that the stream can keep stay.
    ///
    /// "Type" is a path in the repository or, where that leads nowhere, a full name. A missing or
    /// unreadable "TypeVersion" means the latest version.
    /// \param types where the type is looked up; must outlive the stream
    /// \throws serialization::SerializationException when "Type" is missing, or "MaxSize" is
    /// missing, unreadable or not 1 to 2^31-1
    /// \throws ItemNotFoundException when the repository has no such type
    /// \throws utils::VersionedObjectNotFoundException when the type has no such version
    /// \throws StreamCreateException when a sample cannot be read
    Stream(const serialization::NodeSerializer& serializer, const serialization::INode& node,
           const StreamTypeRepository& types);

    // The order of the virtual operations is part of the binary interface: destructor, Serialize,
    // GetLatest, PushNew, Subscribe, Unsubscribe.

    /// Deletes the samples, then the subscriptions.
    ~Stream() override;

    /// Writes type, version, capacity and, in storage order, the samples: of a ring that has
    /// wrapped, another one is the newest when it is read. `WriteStream` of `document_form.h` keeps
    /// the order.
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;

    /// Passes the newest sample to a callback.
    /// \throws ItemNotFoundException "No Sample in Stream" when there is none
    /// \throws std::bad_function_call when `callback` is empty
    virtual void GetLatest(std::function<void(const Sample&)> callback) const;

    /// Pushes a new sample, stamped now, filled in place; then notifies `pushed`.
    /// \param fill sets the sample's entries, under the lock. When it throws, or is empty, the
    /// sample stays in the stream and nobody is notified.
    /// \throws std::bad_function_call when `fill` is empty; what `fill`, a rule or a delegate
    /// throws
    /// \throws std::invalid_argument when the stream has no type
    /// \throws std::length_error, std::bad_alloc as `Sample`; the stream is then as it was
    virtual void PushNew(std::function<void(Sample&)> fill);

    /// Adds a copy of the subscription after the others, to be notified from the next notification
    /// on. Duplicates are kept and notified twice. Takes the subscriptions' lock only.
    /// \param subscription rule and delegate are cloned
    virtual void Subscribe(const StreamSubscription& subscription);

    /// Removes every subscription to the same target, whatever its rule, from the next notification
    /// on. Takes the subscriptions' lock only.
    virtual void Unsubscribe(const StreamSubscription& subscription);

    /// Pushes a sample unchanged, with its time; then notifies `pushed`.
    /// \param sample \ownership takes: in every case. A sample of another stream type is deleted,
    /// and nothing else happens; nothing happens for null.
    /// \throws what a rule or a delegate throws; the sample is then in the stream
    void PushNew(Sample* sample);

    /// Pushes samples unchanged, with their times, as one operation: other threads see all of them
    /// or none. Notifies `pushed` after each, before the next. `sample_batch.h` makes them.
    /// \param samples \ownership takes: each when it is pushed; its pointer is null then
    /// \param sender passed to rules and delegates as `SubscriptionArgs::sender`
    /// \throws std::invalid_argument, naming the first by its number from 0, when there are null
    /// pointers or samples of another stream type; nothing is pushed then
    /// \throws what a rule or a delegate throws: its sample is in the stream, and the later ones
    /// stay with the caller
    void PushMany(std::span<std::unique_ptr<Sample>> samples, void* sender = nullptr);

    /// The same for samples in binary form, which are decoded one by one. Takes only bytes that
    /// `CheckSample` accepts, of any size.
    /// \param times of the samples, microseconds since the Unix epoch, UTC; in any order
    /// \param bytes the binary forms of as many samples as there are times, one after another
    /// \throws std::invalid_argument, naming the sample by its number from 0, when bytes are not
    /// those of a sample, or there are bytes of more samples; nothing is pushed then
    /// \throws std::invalid_argument when a rule or a delegate has changed the stream type so that
    /// the next sample does not fit it; that one and the later ones are not pushed
    /// \throws what a rule or a delegate throws: its sample is in the stream, and the later ones
    /// are not
    void PushMany(std::span<const Poco::Timestamp::TimeVal> times, std::string_view bytes,
                  void* sender = nullptr);

    /// Pushes a sample as `PushNew(Sample*)`, but leaves one that does not fit with the caller.
    /// \param sample \ownership takes on success: is null then
    /// \return false for a sample of another stream type, and for null
    /// \throws std::bad_alloc: the sample stays with the caller
    /// \throws what a rule or a delegate throws; the sample is then in the stream
    bool TryPush(std::unique_ptr<Sample>&& sample);

    /// Pushes a new sample, stamped now, and reads its binary form; then notifies `pushed`.
    /// \param in its state says whether the sample was read
    /// \param sender passed to rules and delegates as `SubscriptionArgs::sender`
    /// \throws what `in` throws: the sample then stays in the stream with its initial values, and
    /// nobody is notified
    void PushNew(std::istream& in, void* sender);

    /// Changes the newest sample in place, under the lock; then notifies `changed` where `notify`
    /// is set.
    /// \throws ItemNotFoundException "No Sample in Stream" when there is none
    /// \throws std::bad_function_call when `change` is empty
    void ChangeLatest(std::function<void(Sample&)> change, bool notify);

    /// Reads the binary form into the newest sample, or into a new one when the stream is empty;
    /// then notifies `changed`, in both cases.
    /// \param in its state says whether the sample was read
    /// \param sender passed to rules and delegates as `SubscriptionArgs::sender`
    /// \throws what `in` throws: a sample that was pushed for it stays
    void DeserializeLatest(std::istream& in, void* sender);

    /// Removes the newest sample, if there is one, and notifies `popped` with a copy of it.
    /// \throws what a rule or a delegate throws; the sample is removed nevertheless
    void PopLatest();

    /// The same, and returns whether there was one.
    /// \param copy receives the sample before it is removed, unless null
    /// \throws std::bad_alloc if it cannot be copied; the sample then stays
    bool TryPopLatest(Sample* copy = nullptr);

    /// \name Queries Each calls its callback once, under the lock, with the samples in storage
    /// order, which is that of pushing until the ring has wrapped; then the newest, in the low
    /// slots, come first. Cost: that of the answer and, where the time stamps ascend in the order
    /// of pushing, a binary search; one more for each sample that is earlier than the one pushed
    /// before it. If these are more than a sixteenth of all, each sample is examined.
    /// \throws std::bad_function_call when the callback is empty
    ///@{
    /// Every sample.
    void GetAll(SamplesCallback callback) const;
    /// Every sample, in the order of pushing.
    void GetAllInPushOrder(SamplesCallback callback) const;
    /// The samples stamped at `since` or later.
    void GetSince(const Poco::Timestamp& since, SamplesCallback callback) const;
    /// The same, in the order of pushing.
    void GetSinceInPushOrder(const Poco::Timestamp& since, SamplesCallback callback) const;
    /// The samples stamped from `from` to `to`, both inclusive.
    void GetBetween(const Poco::Timestamp& from, const Poco::Timestamp& to,
                    SamplesCallback callback) const;
    /// The samples stamped at `span` before now or later, by the clock, not by the newest sample.
    /// Where that time is beyond what a timestamp holds: all for a positive span, none for a
    /// negative one.
    void GetLast(const Poco::Timespan& span, SamplesCallback callback) const;
    template <class Rep, class Period>
    void GetLast(const std::chrono::duration<Rep, Period>& span, SamplesCallback callback) const {
        const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(span);
        GetLast(Poco::Timespan(microseconds.count()), std::move(callback));
    }
    ///@}

    /// Passes the newest sample to a callback, under the lock, if there is one.
    /// \return whether there was one
    /// \throws std::bad_function_call when there is one and `callback` is empty
    bool TryGetLatest(std::function<void(const Sample&)> callback) const;
    /// How many samples the stream holds.
    int GetNumSamples() const;
    /// How many samples have been pushed since the stream was made, including those of its node.
    std::uint64_t CountPushes() const;
    /// How many subscriptions there are. Waits for a running notification.
    std::size_t CountSubscriptions() const;
    /// Whether the stream holds no sample.
    bool IsEmpty() const;
    /// The stream's capacity. Takes no lock.
    int GetMaxSize() const { return ring.GetMaxSize(); }
    /// The type of every sample. Takes no lock.
    /// \return \ownership observes
    StreamType* GetStreamType() const { return streamType; }

    /// Deletes samples, subscriptions or both, without notification.
    /// \param what `clearSamples`, `clearSubscriptions` or both; other bits are ignored
    void Clear(unsigned int what);

    /// Pushes a sample read from a sample's node; then notifies `pushed`.
    /// \throws as the `Sample` constructor from a node; the stream is then as it was
    void PushNew(const serialization::NodeSerializer& serializer,
                 const serialization::INode& sampleNode);

    /// Pushes the samples under a stream node's "Samples", notifying `pushed` for each. The rest of
    /// the node is not read.
    /// \throws as above; the samples pushed before stay
    void Fill(const serialization::NodeSerializer& serializer, const serialization::INode& node);

  protected:
    /// No type, no capacity: what the constructor from a node begins with.
    Stream();

  private:
    using KeptSamples = std::vector<std::unique_ptr<Sample>>;
    class CallbackScope;
    struct PushedSample;

    std::unique_ptr<Sample> NewSample() const;
    Sample& StampNew(PushedSample& pushedSample);
    void Discard(std::unique_ptr<Sample> sample, PushedSample& pushedSample);
    template <class Callback>
    KeptSamples PushAndUse(PushedSample& pushedSample, Callback callback);
    template <class Next>
    std::size_t PushUnnoticed(std::size_t count, Next next);
    template <class Callback>
    KeptSamples Use(Callback callback);
    void DecodeNew(Sample& sample, std::istream& in) const;
    CallbackScope* PrepareRemoval(SampleRing::Position first, std::size_t count);
    void LimitLent();
    void DeleteSamples();
    Sample& GetLatest() const;
    void Answer(const SampleRing::Selection& selection, const SamplesCallback& callback) const;
    void CheckLayout() const;
    void CheckSample(const Sample& sample) const;
    void Notify(StreamChangeType type, const Sample& sample, void* sender);

    // Guarded by the executor's mutex: the ring, and a sample that has left it, whose memory the
    // next push uses. Whether there is one is also looked at without the mutex.
    SampleRing ring;
    PushingThreads pushingThreads;
    std::unique_ptr<Sample> spare;
    std::atomic<bool> hasSpare = false;
    SubscriberList subscribers;
    // Not changed after construction: the type, and the number of the layout that it had.
    StreamType* streamType;
    std::uint64_t layoutNumber = 0;
    // Guarded by the executor's mutex: callbacks under way that may have samples in hand, and
    // notifications under way.
    mutable CallbackScope* innermostScope = nullptr;
    int activeNotifications = 0;
};

}  // namespace velmora::core::tessaryn
