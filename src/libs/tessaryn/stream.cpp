// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream.h"

#include "serializer/serializer.h"
#include "tessaryn/checked.h"
#include "tessaryn/encoded_samples.h"
#include "tessaryn/errors.h"
#include "tessaryn/lock_order.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_repository.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeSerializer;
using serialization::Optional;
using utils::Version;

namespace {

// The lock of the subscriptions lies behind that of the samples.
using Lock = OrderedLock<LockRank::samples, sizeof(Stream)>;

using Samples = SampleRing::Samples;
using Order = SampleRing::Order;

constexpr unsigned int allParts = 255;

// A larger sample is not kept for the next push: clearing it would take longer, and new memory of
// this size comes cleared.
constexpr std::size_t maxSpareSize = 1024;

int CheckedSize(long maxSize) {
    if (maxSize < 1 || maxSize > std::numeric_limits<int>::max()) {
        throw std::invalid_argument("A stream cannot keep " + std::to_string(maxSize) +
                                    " samples: allowed are 1 to 2147483647.");
    }
    return static_cast<int>(maxSize);
}

Poco::Timestamp Latest() {
    return Poco::Timestamp::TIMEVAL_MAX;
}

StreamType* CheckedType(StreamType* streamType) {
    if (streamType == nullptr) {
        throw std::invalid_argument("Stream needs a valid stream type.");
    }
    return streamType;
}

std::uint64_t LayoutOf(const StreamType* type) {
    return type == nullptr ? 0 : type->GetLayoutNumber();
}

SampleRing::IndexRange Newest(const SampleRing& ring) {
    return {ring.GetCount() - 1, ring.GetCount()};
}

}  // namespace

// A callback of the host, which may refer to samples that were in the ring when it began. If one of
// them leaves the ring meanwhile, the outermost callback that may refer to it keeps it until it
// ends.
class Stream::CallbackScope {
  public:
    explicit CallbackScope(const Stream& callingStream)
        : stream(callingStream),
          outer(std::exchange(callingStream.innermostScope, this)),
          lentEnd(callingStream.ring.GetEnd()) {}
    CallbackScope(const CallbackScope&) = delete;
    CallbackScope& operator=(const CallbackScope&) = delete;
    ~CallbackScope() {
        stream.innermostScope = outer;
        if (outer != nullptr) {
            outer->Limit(lentEnd);
        }
        // Then the samples go. A host's destructor may call the stream.
    }

    // The outermost scope that may refer to the sample at a position; null if none may.
    CallbackScope* KeeperOf(SampleRing::Position position) {
        CallbackScope* keeper = nullptr;
        auto end = lentEnd;
        for (CallbackScope* scope = this; scope != nullptr; scope = scope->outer) {
            end = std::min(end, scope->lentEnd);
            if (position >= end) {
                break;
            }
            keeper = scope;
        }
        return keeper;
    }

    // Positions from here on will be reused by other samples.
    void Limit(SampleRing::Position end) { lentEnd = std::min(lentEnd, end); }

    // Reserves memory, so that keeping this number of samples cannot fail.
    void Reserve(std::size_t count) {
        if (kept == nullptr) {
            kept = std::make_unique<KeptSamples>();
        }
        const std::size_t needed = kept->size() + count;
        if (needed > kept->capacity()) {
            kept->reserve(std::max(needed, 2 * kept->capacity()));
        }
    }
    void Keep(std::unique_ptr<Sample> sample) { kept->push_back(std::move(sample)); }

    KeptSamples TakeKept() { return kept == nullptr ? KeptSamples() : std::move(*kept); }

  private:
    const Stream& stream;
    CallbackScope* outer;
    // Callbacks may refer to samples before this position. It also bounds those of outer scopes,
    // which get it when this scope ends.
    SampleRing::Position lentEnd;
    // Null until there is one, which is rare.
    std::unique_ptr<KeptSamples> kept;
};

// A sample to be stored, and the one that it replaces. Lives outside of the lock, so that other
// threads need not wait for allocation and deallocation.
struct Stream::PushedSample {
    // Takes a sample that the host has made.
    explicit PushedSample(std::unique_ptr<Sample> sample) : sample(std::move(sample)) {}
    // Makes a new sample, which `StampNew` completes.
    explicit PushedSample(const Stream& stream)
        : sample(stream.hasSpare.load(std::memory_order_relaxed) ? nullptr : stream.NewSample()),
          isOwn(true) {}

    std::unique_ptr<Sample> sample;
    std::unique_ptr<Sample> discarded;
    bool isOwn = false;
};

Stream::Stream(StreamType* streamType, long maxSize)
    : ring(CheckedSize(maxSize)),
      streamType(CheckedType(streamType)),
      layoutNumber(LayoutOf(streamType)) {}

Stream::Stream() : ring(0), streamType(nullptr) {}

Stream::Stream(const NodeSerializer& serializer, const INode& node,
               const StreamTypeRepository& types)
    : Stream() {
    int maxSize = 0;
    // Read as 32 bits: a larger number is unreadable, and so refused by the rule.
    serializer.Deserialize(node["MaxSize"], maxSize, serialization::GreaterThan(0), RaiseAndLog());
    ring.SetMaxSize(maxSize);
    std::string typePath;
    serializer.Deserialize(node["Type"], typePath, serialization::Mandatory(), RaiseAndLog());
    Version version;
    serializer.Deserialize(node["TypeVersion"], version, serialization::Mandatory(),
                           Version::Latest());
    streamType = &types.Resolve(typePath).Get(version);
    layoutNumber = LayoutOf(streamType);
    try {
        Fill(serializer, node);
    } catch (const std::exception& error) {
        Clear(allParts);
        throw StreamCreateException(error.what());
    }
}

Stream::~Stream() {
    {
        const Lock lock(mutex);
        CheckContract(innermostScope == nullptr && activeNotifications == 0,
                      "A stream was destroyed in one of its own callbacks.");
        DeleteSamples();
    }
    // Here, where the stream is still complete: a delegate's destructor may call it, or wait for a
    // thread that is about to unsubscribe.
    subscribers.Clear();
}

void Stream::PushNew(std::function<void(Sample&)> fill) {
    PushedSample pushedSample(*this);
    const Lock lock(mutex);
    Sample& stored = StampNew(pushedSample);
    const KeptSamples kept = PushAndUse(pushedSample, [&] {
        fill(stored);
        CheckSample(stored);
    });
    Notify(pushed, stored, nullptr);
}

void Stream::PushNew(Sample* sample) {
    // Gone, unless it was taken.
    std::unique_ptr<Sample> owner{sample};
    TryPush(std::move(owner));
}

bool Stream::TryPush(std::unique_ptr<Sample>&& sample) {
    PushedSample pushedSample(std::move(sample));
    const Lock lock(mutex);
    const Sample* const stored = pushedSample.sample.get();
    if (stored == nullptr || streamType == nullptr || stored->GetStreamType() != streamType) {
        sample = std::move(pushedSample.sample);
        return false;
    }
    KeptSamples kept;
    try {
        kept = PushAndUse(pushedSample, [] {});
    } catch (...) {
        sample = std::move(pushedSample.sample);
        throw;
    }
    Notify(pushed, *stored, nullptr);
    return true;
}

void Stream::PushMany(std::span<std::unique_ptr<Sample>> samples, void* sender) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (samples[i] == nullptr || samples[i]->GetStreamType() != streamType) {
            throw std::invalid_argument("Sample " + std::to_string(i) + " of the batch is " +
                                        (samples[i] == nullptr ? "null." : "of another type."));
        }
    }
    const Lock lock(mutex);
    const std::size_t unnoticed =
        PushUnnoticed(samples.size(),
                      [samples](std::size_t i, std::unique_ptr<Sample> /*discarded*/)
                          -> std::unique_ptr<Sample>& { return samples[i]; });
    for (std::unique_ptr<Sample>& each : samples.subspan(unnoticed)) {
        const Sample& stored = *each;
        PushedSample pushedSample(std::move(each));
        KeptSamples kept;
        try {
            kept = PushAndUse(pushedSample, [] {});
        } catch (...) {
            each = std::move(pushedSample.sample);
            throw;
        }
        Notify(pushed, stored, sender);
    }
}

void Stream::PushMany(std::span<const Poco::Timestamp::TimeVal> times, std::string_view bytes,
                      void* sender) {
    EncodedSamples encoded(*CheckedType(streamType), times, bytes);
    std::unique_ptr<Sample> discarded;
    const Lock lock(mutex);
    std::unique_ptr<Sample> decoded;
    const auto decode = [&](std::size_t /*i*/,
                            std::unique_ptr<Sample> overwritten) -> std::unique_ptr<Sample>& {
        return decoded = encoded.DecodeNext(std::move(overwritten));
    };
    for (std::size_t i = PushUnnoticed(encoded.Count(), decode); i < encoded.Count(); ++i) {
        PushedSample pushedSample(encoded.DecodeNext(std::move(discarded)));
        const Sample& stored = *pushedSample.sample;
        const KeptSamples kept = PushAndUse(pushedSample, [] {});
        Notify(pushed, stored, sender);
        discarded = std::move(pushedSample.discarded);
    }
}

void Stream::PushNew(std::istream& in, void* sender) {
    PushedSample pushedSample(*this);
    const Lock lock(mutex);
    Sample& stored = StampNew(pushedSample);
    const KeptSamples kept = PushAndUse(pushedSample, [&] { DecodeNew(stored, in); });
    Notify(pushed, stored, sender);
}

void Stream::PushNew(const NodeSerializer& serializer, const INode& sampleNode) {
    const Lock lock(mutex);
    PushedSample pushedSample(std::make_unique<Sample>(streamType, serializer, sampleNode));
    const Sample& stored = *pushedSample.sample;
    const KeptSamples kept = PushAndUse(pushedSample, [] {});
    Notify(pushed, stored, nullptr);
}

void Stream::ChangeLatest(std::function<void(Sample&)> change, bool notify) {
    const Lock lock(mutex);
    Sample& sample = GetLatest();
    const KeptSamples kept = Use([&] {
        change(sample);
        CheckSample(sample);
    });
    if (notify) {
        Notify(changed, sample, nullptr);
    }
}

void Stream::DeserializeLatest(std::istream& in, void* sender) {
    const Lock lock(mutex);
    const bool isNew = ring.GetCount() == 0;
    if (isNew) {
        PushedSample pushedSample(*this);
        StampNew(pushedSample);
        PushAndUse(pushedSample, [] {});
    }
    Sample& sample = GetLatest();
    const KeptSamples kept = Use([&] { isNew ? DecodeNew(sample, in) : sample.Deserialize(in); });
    Notify(changed, sample, sender);
}

void Stream::PopLatest() {
    TryPopLatest(nullptr);
}

bool Stream::TryPopLatest(Sample* copy) {
    const Lock lock(mutex);
    if (ring.GetLatest() == nullptr) {
        return false;
    }
    CallbackScope* const keeper = PrepareRemoval(ring.GetEnd() - 1, 1);
    if (copy != nullptr) {
        *copy = *ring.GetLatest();
    }
    std::unique_ptr<Sample> owner = ring.Pop();
    const Sample& sample = *owner;
    LimitLent();
    if (keeper != nullptr) {
        keeper->Keep(std::move(owner));
    }
    Notify(popped, sample, nullptr);
    return true;
}

void Stream::GetLatest(std::function<void(const Sample&)> callback) const {
    const Lock lock(mutex);
    const Sample& sample = GetLatest();
    const CallbackScope scope(*this);
    callback(sample);
}

bool Stream::TryGetLatest(std::function<void(const Sample&)> callback) const {
    const Lock lock(mutex);
    if (ring.GetLatest() == nullptr) {
        return false;
    }
    GetLatest(std::move(callback));
    return true;
}

void Stream::GetAll(SamplesCallback callback) const {
    const Lock lock(mutex);
    Answer(ring.SelectAll(Order::stored), callback);
}

void Stream::GetAllInPushOrder(SamplesCallback callback) const {
    const Lock lock(mutex);
    Answer(ring.SelectAll(Order::pushed), callback);
}

void Stream::GetSince(const Poco::Timestamp& since, SamplesCallback callback) const {
    const Lock lock(mutex);
    Answer(ring.Select(since, Latest(), Order::stored), callback);
}

void Stream::GetSinceInPushOrder(const Poco::Timestamp& since, SamplesCallback callback) const {
    const Lock lock(mutex);
    Answer(ring.Select(since, Latest(), Order::pushed), callback);
}

void Stream::GetBetween(const Poco::Timestamp& from, const Poco::Timestamp& to,
                        SamplesCallback callback) const {
    const Lock lock(mutex);
    Answer(ring.Select(from, to, Order::stored), callback);
}

void Stream::GetLast(const Poco::Timespan& span, SamplesCallback callback) const {
    const Lock lock(mutex);
    const Poco::Timestamp::TimeVal now = Poco::Timestamp().epochMicroseconds();
    Poco::Timestamp::TimeVal since = 0;
    if (!__builtin_sub_overflow(now, span.totalMicroseconds(), &since)) {
        Answer(ring.Select(Poco::Timestamp(since), Latest(), Order::stored), callback);
    } else if (span.totalMicroseconds() > 0) {
        Answer(ring.SelectAll(Order::stored), callback);
    } else {
        Answer({{}, {0, 0}}, callback);
    }
}

int Stream::GetNumSamples() const {
    const Lock lock(mutex);
    return ring.GetCount();
}

std::uint64_t Stream::CountPushes() const {
    const Lock lock(mutex);
    return ring.CountPushes();
}

std::size_t Stream::CountSubscriptions() const {
    return subscribers.GetSize();
}

bool Stream::IsEmpty() const {
    const Lock lock(mutex);
    return ring.GetCount() == 0;
}

void Stream::Clear(unsigned int what) {
    if ((what & clearSamples) != 0) {
        const Lock lock(mutex);
        DeleteSamples();
    }
    if ((what & clearSubscriptions) != 0) {
        subscribers.Clear();
    }
}

void Stream::Subscribe(const StreamSubscription& subscription) {
    subscribers.Add(subscription, streamType);
}

void Stream::Unsubscribe(const StreamSubscription& subscription) {
    subscribers.Remove(subscription);
}

void Stream::Serialize(const NodeSerializer& serializer, INode& node) const {
    const Lock lock(mutex);
    serializer.Serialize(node.AddNode("Type", NodeFlags::NodeValue), streamType->GetFullName(),
                         Optional());
    serializer.Serialize(node.AddNode("TypeVersion", NodeFlags::NodeValue),
                         streamType->GetVersion(), Optional());
    serializer.Serialize(node.AddNode("MaxSize", NodeFlags::NodeValue), long{GetMaxSize()},
                         Optional());
    NodeRef list = node.AddNode("Samples", NodeFlags::NodeList);
    for (const Sample* const sample : ring.GetSlots()) {
        if (sample == nullptr) {
            continue;
        }
        NodeRef child = list.AddNode("Sample", NodeFlags::NodeElement);
        sample->Serialize(serializer, child);
    }
}

void Stream::Fill(const NodeSerializer& serializer, const INode& node) {
    const Lock lock(mutex);
    for (const NodeRef& child : node["Samples"].GetNodes()) {
        PushNew(serializer, child);
    }
}

// Without a time, which `StampNew` sets.
std::unique_ptr<Sample> Stream::NewSample() const {
    return std::make_unique<Sample>(streamType, Poco::Timestamp(0));
}

// Completes a sample of the stream's own, in the memory of one that was overwritten where there is
// one. Its time is that under the lock, so that times ascend.
Sample& Stream::StampNew(PushedSample& pushedSample) {
    if (pushedSample.sample == nullptr) {
        hasSpare.store(false, std::memory_order_relaxed);
        if (spare != nullptr && SampleAccess::Renew(*spare, *streamType)) {
            pushedSample.sample = std::move(spare);
        } else {
            pushedSample.discarded = std::move(spare);
            pushedSample.sample = NewSample();
        }
    }
    SampleAccess::SetTime(*pushedSample.sample, Poco::Timestamp());
    return *pushedSample.sample;
}

// Leaves the memory of a sample to the next push, or frees it after the lock is released.
void Stream::Discard(std::unique_ptr<Sample> sample, PushedSample& pushedSample) {
    if (pushedSample.isOwn && !pushingThreads.AreManyWith(Poco::Thread::currentTid()) &&
        spare == nullptr && streamType->GetExactMemSizeInBytes() <= maxSpareSize) {
        SampleAccess::Prefetch(*sample);
        spare = std::move(sample);
        hasSpare.store(true, std::memory_order_relaxed);
    } else {
        pushedSample.discarded = std::move(sample);
    }
}

// Stores a sample, deletes the one that it overwrites and runs a function that uses it. Returns the
// samples that were kept meanwhile, including the new one if it has left the ring.
template <class Callback>
Stream::KeptSamples Stream::PushAndUse(PushedSample& pushedSample, Callback callback) {
    CheckContract(!SampleAccess::IsStored(*pushedSample.sample), "A sample was pushed twice.");
    CallbackScope* const keeper = ring.IsFull() ? PrepareRemoval(ring.GetBegin(), 1) : nullptr;
    std::unique_ptr<Sample> overwritten = ring.Push(std::move(pushedSample.sample));
    if (keeper != nullptr) {
        keeper->Keep(std::exchange(overwritten, nullptr));
    }
    return Use([&] {
        // A host's destructor may call the stream, and runs before the fill.
        if (overwritten && IsExactSample(*overwritten)) {
            Discard(std::move(overwritten), pushedSample);
        } else {
            overwritten.reset();
        }
        callback();
    });
}

// Pushes samples while nobody is subscribed, and so nothing of a host runs between them. Returns
// how many: the caller pushes the rest.
//
// `next(i, discarded)` gives a sample, which stays with it when the push throws. It may use the
// memory of one that was overwritten.
template <class Next>
std::size_t Stream::PushUnnoticed(std::size_t count, Next next) {
    const int begin = ring.GetCount();
    const int most = std::numeric_limits<int>::max() - begin;
    if (innermostScope != nullptr || count > static_cast<std::size_t>(most)) {
        return 0;
    }
    const SampleRing::OrderGuard guard(ring, {begin, begin + static_cast<int>(count)});
    std::unique_ptr<Sample> overwritten;
    for (std::size_t i = 0; i < count; ++i) {
        if (!subscribers.IsEmpty()) {
            return i;
        }
        CheckLayout();
        ring.PrefetchOldest();
        std::unique_ptr<Sample>& sample = next(i, std::move(overwritten));
        CheckContract(!SampleAccess::IsStored(*sample), "A sample was pushed twice.");
        overwritten = ring.Push(std::move(sample));
        if (overwritten && !IsExactSample(*overwritten)) {
            // A host's destructor may call the stream.
            const KeptSamples kept = Use([&] { overwritten.reset(); });
            return i + 1;
        }
    }
    return count;
}

// A large sample is read in place: one that cannot be read gets its initial values again.
void Stream::DecodeNew(Sample& sample, std::istream& in) const {
    try {
        sample.Deserialize(in);
    } catch (...) {
        sample = Sample(streamType, sample.GetTimeStamp());
        throw;
    }
}

// Runs a function that uses the newest sample, and may stamp it and call the stream. Returns the
// samples that were kept meanwhile.
template <class Callback>
Stream::KeptSamples Stream::Use(Callback callback) {
    CheckLayout();
    CallbackScope scope(*this);
    const SampleRing::OrderGuard guard(ring, Newest(ring));
    callback();
    return scope.TakeKept();
}

// The callback that has to keep the samples to be removed, from a position on; null if they can be
// deleted at once. Keeping them cannot fail afterwards.
Stream::CallbackScope* Stream::PrepareRemoval(SampleRing::Position first, std::size_t count) {
    if (innermostScope == nullptr) {
        return nullptr;
    }
    CallbackScope* const keeper = innermostScope->KeeperOf(first);
    if (keeper != nullptr) {
        keeper->Reserve(count);
    }
    return keeper;
}

// After samples were removed from the end of the ring.
void Stream::LimitLent() {
    if (innermostScope != nullptr) {
        innermostScope->Limit(ring.GetEnd());
    }
}

void Stream::DeleteSamples() {
    const auto count = static_cast<std::size_t>(ring.GetCount());
    CallbackScope* const keeper = PrepareRemoval(ring.GetBegin(), count);
    // The stream is empty before the first one goes: a host's destructor may call it.
    Samples cleared = ring.Clear();
    LimitLent();
    for (Sample* const sample : cleared) {
        std::unique_ptr<Sample> owner(sample);
        if (keeper != nullptr && owner) {
            keeper->Keep(std::move(owner));
        }
    }
    ring.ReuseSlots(std::move(cleared));
}

Sample& Stream::GetLatest() const {
    Sample* const sample = ring.GetLatest();
    if (sample == nullptr) {
        throw ItemNotFoundException::ForEmptyStream();
    }
    return *sample;
}

void Stream::Answer(const SampleRing::Selection& selection, const SamplesCallback& callback) const {
    const CallbackScope scope(*this);
    const SampleRing::OrderGuard guard(ring, selection.range);
    callback(selection.samples);
}

void Stream::CheckLayout() const {
    CheckContract(!isChecked || LayoutOf(streamType) == layoutNumber,
                  "A stream type was changed while a stream of it was in use.");
}

void Stream::CheckSample(const Sample& sample) const {
    CheckContract(SampleAccess::TypeOf(sample) == streamType,
                  "A callback left a sample of another stream type, or without one, in a stream.");
}

// Notifies the subscribers; the caller holds the samples' mutex.
void Stream::Notify(StreamChangeType type, const Sample& sample, void* sender) {
    struct Activity {
        explicit Activity(int& active) : active(active) { ++this->active; }
        Activity(const Activity&) = delete;
        Activity& operator=(const Activity&) = delete;
        ~Activity() { --active; }
        int& active;
    };
    const Activity activity(activeNotifications);
    subscribers.Notify(type, sample, sender, static_cast<void*>(this));
}

}  // namespace velmora::core::tessaryn
