// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/atomic_executor.h"
#include "tessaryn/export.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_subscription.h"
#include "tessaryn/subscriber_list.h"

#include <Poco/Timespan.h>
#include <Poco/Timestamp.h>

#include <functional>
#include <iosfwd>
#include <memory>
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
/// Callbacks (fills, queries, rules and delegates) run with the stream's sample mutex held, rules
/// and delegates with the subscriptions' mutex, too. They may call every public operation of the
/// same stream on that thread:
/// - who subscribes or is unsubscribed during a notification, the subscriber itself included, is
///   told or no longer told from the next notification on, one inside this one included;
/// - a sample that leaves the stream while a fill, a change or a query has it in hand is deleted
///   when that callback has returned; a push is told of even then.
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
    /// What a query hands to its callback: live samples in storage order.
    using SamplesCallback = std::function<void(const std::vector<Sample*>&)>;

    /// What `Clear` empties; may be combined.
    enum ClearFlags : unsigned int { clearSamples = 1, clearSubscriptions = 2 };

    /// An empty stream.
    /// \param streamType \ownership observes: the type of every sample; must outlive the stream
    /// \param maxSize samples that the stream keeps, 1 to 2^31-1
    /// \throws std::invalid_argument for a size out of that range
    Stream(StreamType* streamType, long maxSize);

    /// Reads a stream from its node: "Type", "TypeVersion", "MaxSize" and the samples under
    /// "Samples", of which the last that the stream can keep stay.
    ///
    /// "Type" is a path in the repository or, where that leads nowhere, a full name. A missing or
    /// unreadable "TypeVersion" means the latest version.
    /// \param serializer reads the values
    /// \param node the stream's node
    /// \param types where the type is looked up; must outlive the stream
    /// \throws serialization::SerializationException when "Type" is missing, or "MaxSize" is
    /// missing, unreadable or not 1 to 2^31-1
    /// \throws ItemNotFoundException when the repository has no such type
    /// \throws utils::VersionedObjectNotFoundException when the type has no such version
    /// \throws StreamCreateException when a sample can't be read
    Stream(const serialization::Serializer<serialization::NodeRef>& serializer,
           const serialization::INode& node, const StreamTypeRepository& types);

    // The order of the virtual operations is part of the binary interface: destructor, Serialize,
    // GetLatest, PushNew, Subscribe, Unsubscribe.

    /// Deletes the samples, then the subscriptions.
    ~Stream() override;

    /// Writes type, version, capacity and, in storage order, the samples.
    /// \param serializer writes the values
    /// \param node the stream's node
    void Serialize(const serialization::Serializer<serialization::NodeRef>& serializer,
                   serialization::INode& node) const override;

    /// Hands the newest sample to a callback.
    /// \param callback called once, under the lock
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

    /// Adds a copy of the subscription after the others, to be told from the next notification on.
    /// Duplicates are kept and told twice. Takes the subscriptions' lock only.
    /// \param subscription rule and delegate are cloned
    virtual void Subscribe(const StreamSubscription& subscription);

    /// Removes every subscription to the same target, whatever its rule, from the next notification
    /// on. Takes the subscriptions' lock only.
    /// \param subscription tells the target
    virtual void Unsubscribe(const StreamSubscription& subscription);

    /// Pushes a sample as it is, its time included; then notifies `pushed`.
    /// \param sample \ownership takes: in every case. A sample of another stream type is deleted,
    /// and nothing else happens; so is null.
    /// \throws what a rule or a delegate throws; the sample is then in the stream
    void PushNew(Sample* sample);

    /// Pushes a new sample, stamped now, and reads its binary form; then notifies `pushed`.
    /// \param in where the sample is read from; its state tells of errors
    /// \param sender handed on to rules and delegates as `SubscriptionArgs::sender`
    /// \throws what `in` throws: the sample then stays in the stream with its initial values, and
    /// nobody is notified
    void PushNew(std::istream& in, void* sender);

    /// Changes the newest sample in place.
    /// \param change changes the sample, under the lock
    /// \param notify whether `changed` is notified afterwards
    /// \throws ItemNotFoundException "No Sample in Stream" when there is none
    /// \throws std::bad_function_call when `change` is empty
    void ChangeLatest(std::function<void(Sample&)> change, bool notify);

    /// Reads the binary form into the newest sample, or into a new one when the stream is empty;
    /// then notifies `changed`, in both cases.
    /// \param in where the sample is read from; its state tells of errors
    /// \param sender handed on to rules and delegates as `SubscriptionArgs::sender`
    /// \throws what `in` throws: a sample that was pushed for it stays
    void DeserializeLatest(std::istream& in, void* sender);

    /// Removes the newest sample and notifies `popped` with a copy of it. Nothing happens when
    /// there is none.
    /// \throws what a rule or a delegate throws; the sample is gone all the same
    void PopLatest();

    /// \name Queries
    /// The samples are handed over in storage order, which is that of pushing until the ring has
    /// wrapped; then the newest, in the low slots, come first. Cost: that of the answer and a
    /// binary search while the time stamps ascend in the order of pushing, else the number of
    /// samples.
    /// \throws std::bad_function_call when the callback is empty
    ///@{
    /// Every sample.
    /// \param callback called once, under the lock
    void GetAll(SamplesCallback callback) const;
    /// Every sample, the one that was pushed first in front, whether the ring has wrapped or not.
    /// \param callback called once, under the lock
    void GetAllInPushOrder(SamplesCallback callback) const;
    /// The samples stamped at `since` or later.
    /// \param since the earliest time, included
    /// \param callback called once, under the lock
    void GetSince(const Poco::Timestamp& since, SamplesCallback callback) const;
    /// The samples stamped from `from` to `to`, both included.
    /// \param from the earliest time, included
    /// \param to the latest time, included
    /// \param callback called once, under the lock
    void GetBetween(const Poco::Timestamp& from, const Poco::Timestamp& to,
                    SamplesCallback callback) const;
    /// The samples stamped within `span` before now; all when that reaches before the epoch.
    /// \param span how far to look back
    /// \param callback called once, under the lock
    void GetLast(const Poco::Timespan& span, SamplesCallback callback) const;
    ///@}

    /// Whether the stream holds no sample.
    bool IsEmpty() const;
    /// Samples that the stream keeps at most. Takes no lock.
    int GetMaxSize() const { return maxSize; }
    /// The type of every sample. Takes no lock.
    /// \return \ownership observes
    StreamType* GetStreamType() const { return streamType; }

    /// Deletes samples, subscriptions or both, without notification.
    /// \param what `clearSamples`, `clearSubscriptions` or both; other bits are ignored
    void Clear(unsigned int what);

    /// Pushes a sample read from a sample's node; then notifies `pushed`.
    /// \param serializer reads the values
    /// \param sampleNode the sample's node
    /// \throws as the `Sample` constructor from a node; the stream is then as it was
    void PushNew(const serialization::Serializer<serialization::NodeRef>& serializer,
                 const serialization::INode& sampleNode);

    /// Pushes the samples under a stream node's "Samples", notifying `pushed` for each. What else
    /// the node tells is not read.
    /// \param serializer reads the values
    /// \param node the stream's node
    /// \throws as above; the samples pushed before stay
    void Fill(const serialization::Serializer<serialization::NodeRef>& serializer,
              const serialization::INode& node);

  protected:
    /// No type, no capacity: what the constructor from a node begins with.
    Stream();

  private:
    using Samples = std::vector<Sample*>;
    /// Ages of samples: 0 is the oldest; the end does not belong to it.
    struct Ages {
        int begin;
        int end;
    };
    using Removed = std::vector<std::unique_ptr<Sample>>;
    class Lending;
    class OrderWatch;

    void Push(std::unique_ptr<Sample> sample);
    Sample& PushFresh();
    template <class Use>
    Removed LendLatest(Use use);
    void PrepareRemoval(std::size_t count);
    void Remove(Sample* sample);
    Sample* GetLatestPtr() const;
    Sample& GetLatest() const;
    void Answer(const Poco::Timestamp& from, const Poco::Timestamp& to,
                const SamplesCallback& callback) const;

    std::size_t SlotOf(int age) const;
    const Poco::Timestamp& TimeOf(int age) const;
    Ages AgesBetween(const Poco::Timestamp& from, const Poco::Timestamp& to) const;
    Samples SamplesOf(Ages ages) const;
    Samples SamplesBetween(const Poco::Timestamp& from, const Poco::Timestamp& to) const;
    bool IsAscending() const { return ascendingSamples == storedSamples; }
    int CountAscending() const;
    void CheckOrder(Ages ages) const;

    int IncreasedSampleIdx() const;
    int DecreasedSampleIdx() const;
    void EnlargeSampleContainer();
    void DeleteSamples();
    void Notify(StreamChangeType type, const Sample& sample, void* sender);

    // Guarded by the executor's mutex.
    Samples samples;
    SubscriberList subscribers;
    StreamType* streamType;
    int maxSize;
    // Guarded by the executor's mutex: slot of the newest sample, -1 when there was none yet.
    int currentSampleIdx;
    // Guarded by the executor's mutex, for queries by time: samples that are stored, how many of
    // the newest ascend in time as far as is known, and the number of pushes, pops and clears.
    int storedSamples = 0;
    mutable int ascendingSamples = 0;
    unsigned long long changes = 0;
    // Guarded by the executor's mutex: callbacks under way that may stamp samples anew, those that
    // have samples in hand, and samples that have left the ring since the first of them began.
    mutable int openWatches = 0;
    mutable int openLendings = 0;
    mutable Removed removedSamples;
};

}  // namespace velmora::core::tessaryn
