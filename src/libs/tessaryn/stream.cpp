// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream.h"

#include "tessaryn/errors.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/ScopedLock.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <stdexcept>
#include <utility>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::Optional;
using serialization::Serializer;
using utils::Version;

namespace {

using Lock = Poco::ScopedLock<Poco::Mutex>;

constexpr int noSample = -1;
constexpr unsigned int everything = 255;

int CheckedSize(long maxSize) {
    if (maxSize < 1 || maxSize > std::numeric_limits<int>::max()) {
        throw std::invalid_argument("A stream cannot keep " + std::to_string(maxSize) +
                                    " samples: allowed are 1 to 2147483647.");
    }
    return static_cast<int>(maxSize);
}

Poco::Timestamp Earliest() {
    return Poco::Timestamp::TIMEVAL_MIN;
}

Poco::Timestamp Latest() {
    return Poco::Timestamp::TIMEVAL_MAX;
}

// The moment `span` before now; the earliest there is where that lies before the epoch.
Poco::Timestamp Ago(const Poco::Timespan& span) {
    const Poco::Timestamp::TimeVal now = Poco::Timestamp().epochMicroseconds();
    Poco::Timestamp::TimeVal then = 0;
    const bool overflow = __builtin_sub_overflow(now, span.totalMicroseconds(), &then);
    return overflow || then < 0 ? Earliest() : Poco::Timestamp(then);
}

}  // namespace

// A callback that has samples in hand: those that leave the ring meanwhile are kept for it.
class Stream::Lending {
  public:
    explicit Lending(const Stream& lender) : stream(lender) { ++stream.openLendings; }
    Lending(const Lending&) = delete;
    Lending& operator=(const Lending&) = delete;
    ~Lending() {
        // Taken out of the stream first: a host's destructor may call it.
        if (!stream.removedSamples.empty()) {
            TakeRemoved();
        }
        --stream.openLendings;
    }

    // What was removed meanwhile, unless an outer callback may have that in hand, too.
    Removed TakeRemoved() const {
        Removed removed;
        if (stream.openLendings == 1) {
            removed.swap(stream.removedSamples);
        }
        return removed;
    }

  private:
    const Stream& stream;
};

// Looks, when it goes, whether the time stamps still ascend.
//
// A binary search needs them to, but a callback gets live samples whose setters stamp them anew:
// the newest one to fill or to change, those of an answer to read.
class Stream::OrderWatch {
  public:
    // Watches the samples of an answer.
    OrderWatch(const Stream& watched, Ages answer)
        : stream(watched), changesBefore(watched.changes), ages(answer) {
        ++stream.openWatches;
    }
    OrderWatch(const OrderWatch&) = delete;
    OrderWatch& operator=(const OrderWatch&) = delete;
    ~OrderWatch() {
        --stream.openWatches;
        // Where the callback has changed the stream, all that is sure is that one sample ascends.
        if (stream.changes != changesBefore) {
            stream.ascendingSamples = std::min(1, stream.storedSamples);
        } else {
            stream.CheckOrder(ages);
        }
    }

  private:
    const Stream& stream;
    unsigned long long changesBefore;
    Ages ages;
};

Stream::Stream(StreamType* type, long size)
    : streamType(type), maxSize(CheckedSize(size)), currentSampleIdx(noSample) {}

Stream::Stream() : streamType(nullptr), maxSize(0), currentSampleIdx(noSample) {}

Stream::Stream(const Serializer<NodeRef>& serializer, const INode& node,
               const StreamTypeRepository& types)
    : Stream() {
    // Read as 32 bits: what doesn't fit them is unreadable, and so refused by the rule.
    serializer.Deserialize(node["MaxSize"], maxSize, serialization::GreaterThan(0), RaiseAndLog());
    std::string typePath;
    serializer.Deserialize(node["Type"], typePath, serialization::Mandatory(), RaiseAndLog());
    Version version;
    serializer.Deserialize(node["TypeVersion"], version, serialization::Mandatory(),
                           Version::Latest());
    streamType = &types.Resolve(typePath).Get(version);
    try {
        Fill(serializer, node);
    } catch (const std::exception& error) {
        Clear(everything);
        throw StreamCreateException(error.what());
    }
}

Stream::~Stream() {
    {
        const Lock lock(mutex);
        DeleteSamples();
    }
    // Here, where the stream is still complete: a delegate's destructor may call it, or wait for a
    // thread that is about to unsubscribe.
    subscribers.Clear();
}

void Stream::PushNew(std::function<void(Sample&)> fill) {
    const Lock lock(mutex);
    Sample& sample = PushFresh();
    const Removed removed = LendLatest([&] { fill(sample); });
    Notify(pushed, sample, nullptr);
}

void Stream::PushNew(Sample* sample) {
    std::unique_ptr<Sample> owner(sample);
    const Lock lock(mutex);
    if (!owner || owner->GetStreamType() != streamType) {
        return;
    }
    Push(std::move(owner));
    Notify(pushed, *sample, nullptr);
}

void Stream::PushNew(std::istream& in, void* sender) {
    const Lock lock(mutex);
    Sample& sample = PushFresh();
    const Removed removed = LendLatest([&] { sample.Deserialize(in); });
    Notify(pushed, sample, sender);
}

void Stream::PushNew(const Serializer<NodeRef>& serializer, const INode& sampleNode) {
    const Lock lock(mutex);
    auto sample = std::make_unique<Sample>(streamType, serializer, sampleNode);
    const Sample& stored = *sample;
    Push(std::move(sample));
    Notify(pushed, stored, nullptr);
}

void Stream::ChangeLatest(std::function<void(Sample&)> change, bool notify) {
    const Lock lock(mutex);
    Sample& sample = GetLatest();
    const Removed removed = LendLatest([&] { change(sample); });
    if (notify) {
        Notify(changed, sample, nullptr);
    }
}

void Stream::DeserializeLatest(std::istream& in, void* sender) {
    const Lock lock(mutex);
    if (IsEmpty()) {
        PushFresh();
    }
    Sample& sample = GetLatest();
    const Removed removed = LendLatest([&] { sample.Deserialize(in); });
    Notify(changed, sample, sender);
}

void Stream::PopLatest() {
    const Lock lock(mutex);
    Sample* const sample = GetLatestPtr();
    if (sample == nullptr) {
        return;
    }
    PrepareRemoval(1);
    samples[static_cast<std::size_t>(currentSampleIdx)] = nullptr;
    currentSampleIdx = DecreasedSampleIdx();
    --storedSamples;
    ascendingSamples = std::min(std::max(ascendingSamples - 1, 1), storedSamples);
    ++changes;
    // Deleted when all have been told, whatever they throw.
    std::unique_ptr<Sample> owner;
    if (openLendings == 0) {
        owner.reset(sample);
    } else {
        Remove(sample);
    }
    Notify(popped, *sample, nullptr);
}

void Stream::GetLatest(std::function<void(const Sample&)> callback) const {
    const Lock lock(mutex);
    const Sample& sample = GetLatest();
    const Lending lending(*this);
    callback(sample);
}

void Stream::GetAll(SamplesCallback callback) const {
    const Lock lock(mutex);
    Answer(Earliest(), Latest(), callback);
}

void Stream::GetAllInPushOrder(SamplesCallback callback) const {
    const Lock lock(mutex);
    Samples ordered;
    for (int age = 0; age < storedSamples; ++age) {
        ordered.push_back(samples[SlotOf(age)]);
    }
    const Lending lending(*this);
    const OrderWatch watch(*this, {0, storedSamples});
    callback(ordered);
}

void Stream::GetSince(const Poco::Timestamp& since, SamplesCallback callback) const {
    const Lock lock(mutex);
    Answer(since, Latest(), callback);
}

void Stream::GetBetween(const Poco::Timestamp& from, const Poco::Timestamp& to,
                        SamplesCallback callback) const {
    const Lock lock(mutex);
    Answer(from, to, callback);
}

void Stream::GetLast(const Poco::Timespan& span, SamplesCallback callback) const {
    const Lock lock(mutex);
    Answer(Ago(span), Latest(), callback);
}

bool Stream::IsEmpty() const {
    const Lock lock(mutex);
    return storedSamples == 0;
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
    subscribers.Add(subscription);
}

void Stream::Unsubscribe(const StreamSubscription& subscription) {
    subscribers.Remove(subscription);
}

void Stream::Serialize(const Serializer<NodeRef>& serializer, INode& node) const {
    const Lock lock(mutex);
    serializer.Serialize(node.AddNode("Type", NodeFlags::NodeValue), streamType->GetFullName(),
                         Optional());
    serializer.Serialize(node.AddNode("TypeVersion", NodeFlags::NodeValue),
                         streamType->GetVersion(), Optional());
    serializer.Serialize(node.AddNode("MaxSize", NodeFlags::NodeValue), long{maxSize}, Optional());
    NodeRef list = node.AddNode("Samples", NodeFlags::NodeList);
    for (const Sample* sample : samples) {
        if (sample == nullptr) {
            continue;
        }
        NodeRef child = list.AddNode("Sample", NodeFlags::NodeElement);
        sample->Serialize(serializer, child);
    }
}

void Stream::Fill(const Serializer<NodeRef>& serializer, const INode& node) {
    const Lock lock(mutex);
    for (const NodeRef& child : node["Samples"].GetNodes()) {
        PushNew(serializer, child);
    }
}

// Puts a sample into the next slot of the ring, for the oldest one once the ring is full.
void Stream::Push(std::unique_ptr<Sample> sample) {
    const int next = IncreasedSampleIdx();
    // Growing is all that can throw: the ring is then as it was.
    PrepareRemoval(1);
    if (samples.size() <= static_cast<std::size_t>(next)) {
        EnlargeSampleContainer();
    }
    currentSampleIdx = next;
    Sample* const oldest = std::exchange(samples[static_cast<std::size_t>(next)], sample.release());
    storedSamples += oldest == nullptr ? 1 : 0;
    ascendingSamples = std::min(ascendingSamples + 1, storedSamples);
    ++changes;
    // A clock may have stepped back, and a sample of a host comes with a time of its own.
    CheckOrder({storedSamples - 1, storedSamples});
    Remove(oldest);
}

// Runs what uses the newest sample, and hands out what was removed meanwhile.
template <class Use>
Stream::Removed Stream::LendLatest(Use use) {
    const Lending lending(*this);
    const OrderWatch watch(*this, {storedSamples - 1, storedSamples});
    use();
    return lending.TakeRemoved();
}

// Makes room for samples to be kept, so that their removal can't fail.
void Stream::PrepareRemoval(std::size_t count) {
    if (openLendings == 0) {
        return;
    }
    const std::size_t needed = removedSamples.size() + count;
    if (needed > removedSamples.capacity()) {
        removedSamples.reserve(std::max(needed, 2 * removedSamples.capacity()));
    }
}

// Deletes a sample that has left the ring, or keeps it for the callbacks that may have it in hand.
void Stream::Remove(Sample* sample) {
    if (openLendings == 0) {
        delete sample;
    } else if (sample != nullptr) {
        removedSamples.emplace_back(sample);
    }
}

Sample& Stream::PushFresh() {
    auto sample = std::make_unique<Sample>(streamType, Poco::Timestamp());
    Sample& stored = *sample;
    Push(std::move(sample));
    return stored;
}

Sample* Stream::GetLatestPtr() const {
    const auto slot = static_cast<std::size_t>(currentSampleIdx);
    return currentSampleIdx >= 0 && slot < samples.size() ? samples[slot] : nullptr;
}

Sample& Stream::GetLatest() const {
    Sample* const sample = GetLatestPtr();
    if (sample == nullptr) {
        throw ItemNotFoundException::ForEmptyStream();
    }
    return *sample;
}

void Stream::Answer(const Poco::Timestamp& from, const Poco::Timestamp& to,
                    const SamplesCallback& callback) const {
    if (!IsAscending()) {
        ascendingSamples = CountAscending();
    }
    // A query from inside a callback comes before its watch has looked.
    const bool ascending = openWatches == 0 && IsAscending();
    const Ages ages = ascending ? AgesBetween(from, to) : Ages{0, storedSamples};
    const Samples selected = ascending ? SamplesOf(ages) : SamplesBetween(from, to);
    const Lending lending(*this);
    const OrderWatch watch(*this, ages);
    callback(selected);
}

// The samples of all ages are in slots that follow each other around the ring, up to the newest.
std::size_t Stream::SlotOf(int age) const {
    const int slot = currentSampleIdx - (storedSamples - 1 - age);
    return static_cast<std::size_t>(slot < 0 ? slot + maxSize : slot);
}

const Poco::Timestamp& Stream::TimeOf(int age) const {
    return SampleAccess::TimeOf(*samples[SlotOf(age)]);
}

// By binary search; the stamps ascend.
Stream::Ages Stream::AgesBetween(const Poco::Timestamp& from, const Poco::Timestamp& to) const {
    // By hand: Clang 14 can't search the standard library's counting range.
    const auto firstAge = [this](int begin, auto isBefore) {
        int end = storedSamples;
        while (begin < end) {
            const int middle = begin + (end - begin) / 2;
            if (isBefore(TimeOf(middle))) {
                begin = middle + 1;
            } else {
                end = middle;
            }
        }
        return begin;
    };
    const int begin = firstAge(0, [&](const Poco::Timestamp& time) { return time < from; });
    // Most queries ask for all up to now.
    if (begin < storedSamples && TimeOf(storedSamples - 1) <= to) {
        return {begin, storedSamples};
    }
    const int end = firstAge(begin, [&](const Poco::Timestamp& time) { return time <= to; });
    return {begin, end};
}

// In storage order: behind the ring's seam first, where there is one among them.
Stream::Samples Stream::SamplesOf(Ages ages) const {
    Samples selected;
    if (ages.begin >= ages.end) {
        return selected;
    }
    const auto slotAt = [this](std::size_t slot) {
        return samples.begin() + static_cast<std::ptrdiff_t>(slot);
    };
    selected.reserve(static_cast<std::size_t>(ages.end - ages.begin));
    const std::size_t first = SlotOf(ages.begin);
    const std::size_t last = SlotOf(ages.end - 1);
    if (first <= last) {
        selected.insert(selected.end(), slotAt(first), slotAt(last + 1));
    } else {
        selected.insert(selected.end(), slotAt(0), slotAt(last + 1));
        selected.insert(selected.end(), slotAt(first), samples.end());
    }
    return selected;
}

// By looking at every sample; the stamps need not ascend.
Stream::Samples Stream::SamplesBetween(const Poco::Timestamp& from,
                                       const Poco::Timestamp& to) const {
    Samples selected;
    for (Sample* sample : samples) {
        if (sample != nullptr && from <= SampleAccess::TimeOf(*sample) &&
            SampleAccess::TimeOf(*sample) <= to) {
            selected.push_back(sample);
        }
    }
    return selected;
}

// Takes note where samples of these ages no longer ascend, among themselves or with the next.
void Stream::CheckOrder(Ages ages) const {
    const int first = std::max(ages.begin, 1);
    const int last = std::min(ages.end, storedSamples - 1);
    if (first > last) {
        return;
    }
    // From the sample before them on, in up to two runs of slots.
    const auto count = static_cast<std::size_t>(last - first) + 2;
    const std::size_t slot = SlotOf(first - 1);
    const std::size_t untilSeam = std::min(count, static_cast<std::size_t>(maxSize) - slot);
    const Sample* const* const run = samples.data() + slot;
    bool ascends = true;
    for (std::size_t i = 1; i < untilSeam; ++i) {
        ascends &= SampleAccess::TimeOf(*run[i - 1]) <= SampleAccess::TimeOf(*run[i]);
    }
    const Sample* earlier = run[untilSeam - 1];
    for (std::size_t i = 0; i < count - untilSeam; ++i) {
        ascends &= SampleAccess::TimeOf(*earlier) <= SampleAccess::TimeOf(*samples[i]);
        earlier = samples[i];
    }
    if (!ascends) {
        ascendingSamples = std::min(ascendingSamples, CountAscending());
    }
}

// How many of the newest samples ascend in time.
int Stream::CountAscending() const {
    int age = storedSamples;
    while (age > 0 && (age == storedSamples || TimeOf(age - 1) <= TimeOf(age))) {
        --age;
    }
    return storedSamples - age;
}

int Stream::IncreasedSampleIdx() const {
    return currentSampleIdx + 1 < maxSize ? currentSampleIdx + 1 : 0;
}

int Stream::DecreasedSampleIdx() const {
    return currentSampleIdx > 0 ? currentSampleIdx - 1 : maxSize - 1;
}

void Stream::EnlargeSampleContainer() {
    const std::size_t doubled = 2 * samples.size() + 1;
    const auto limit = static_cast<std::size_t>(maxSize);
    samples.resize(doubled < limit ? doubled : limit, nullptr);
}

void Stream::DeleteSamples() {
    PrepareRemoval(samples.size());
    // The stream is empty before the first one goes: a host's destructor may look.
    Samples gone;
    gone.swap(samples);
    currentSampleIdx = noSample;
    storedSamples = 0;
    ascendingSamples = 0;
    ++changes;
    for (Sample* sample : gone) {
        Remove(sample);
    }
    if (samples.capacity() == 0) {
        gone.clear();
        samples.swap(gone);
    }
}

// Tells the subscribers of a change; the caller holds the samples' mutex.
void Stream::Notify(StreamChangeType type, const Sample& sample, void* sender) {
    subscribers.Notify(type, sample, sender, static_cast<void*>(this));
}

}  // namespace velmora::core::tessaryn
