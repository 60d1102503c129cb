// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream.h"

#include "tessaryn/errors.h"
#include "tessaryn/private/node_fields.h"
#include "tessaryn/private/notification.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/ScopedLock.h>

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
        throw std::invalid_argument("A stream can not keep " + std::to_string(maxSize) +
                                    " samples: allowed are 1 to 2147483647.");
    }
    return static_cast<int>(maxSize);
}

/// The moment `span` before now; the earliest there is where that lies before the epoch.
Poco::Timestamp Ago(const Poco::Timespan& span) {
    const Poco::Timestamp::TimeVal now = Poco::Timestamp().epochMicroseconds();
    Poco::Timestamp::TimeVal then = 0;
    const bool overflow = __builtin_sub_overflow(now, span.totalMicroseconds(), &then);
    return overflow || then < 0 ? Poco::Timestamp(Poco::Timestamp::TIMEVAL_MIN)
                                : Poco::Timestamp(then);
}

/// The collection of a path or, since a stream writes its type's full name, of a full name.
const StreamTypeCollection& FindCollection(const StreamTypeRepository& types,
                                           const std::string& path) {
    const StreamTypeCollection* collection = types.GetPtr(path);
    if (collection == nullptr)
        collection = types.FindByFullName(path);
    return collection != nullptr ? *collection : types[path];
}

}  // namespace

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
    streamType = &FindCollection(types, typePath).Get(version);
    try {
        Fill(serializer, node);
    } catch (const std::exception& error) {
        Clear(everything);
        throw StreamCreateException(error.what());
    }
}

Stream::~Stream() {
    const Lock lock(mutex);
    DeleteSamples();
}

void Stream::PushNew(std::function<void(Sample&)> fill) {
    const Lock lock(mutex);
    Sample& sample = PushFresh();
    fill(sample);
    Notify(pushed, sample, nullptr);
}

void Stream::PushNew(Sample* sample) {
    std::unique_ptr<Sample> owner(sample);
    const Lock lock(mutex);
    if (!owner || owner->GetStreamType() != streamType)
        return;
    Push(std::move(owner));
    Notify(pushed, *sample, nullptr);
}

void Stream::PushNew(std::istream& in, void* sender) {
    const Lock lock(mutex);
    Sample& sample = PushFresh();
    sample.Deserialize(in);
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
    change(sample);
    if (notify)
        Notify(changed, sample, nullptr);
}

void Stream::DeserializeLatest(std::istream& in, void* sender) {
    const Lock lock(mutex);
    if (IsEmpty())
        PushFresh();
    Sample& sample = GetLatest();
    sample.Deserialize(in);
    Notify(changed, sample, sender);
}

void Stream::PopLatest() {
    const Lock lock(mutex);
    const std::unique_ptr<Sample> sample(GetLatestPtr());
    if (!sample)
        return;
    samples[static_cast<std::size_t>(currentSampleIdx)] = nullptr;
    currentSampleIdx = DecreasedSampleIdx();
    Notify(popped, *sample, nullptr);
}

void Stream::GetLatest(std::function<void(const Sample&)> callback) const {
    const Lock lock(mutex);
    callback(GetLatest());
}

void Stream::GetAll(SamplesCallback callback) const {
    const Lock lock(mutex);
    callback(Select([](const Sample&) { return true; }));
}

void Stream::GetSince(const Poco::Timestamp& since, SamplesCallback callback) const {
    const Lock lock(mutex);
    callback(GetSince(since));
}

void Stream::GetBetween(const Poco::Timestamp& from, const Poco::Timestamp& to,
                        SamplesCallback callback) const {
    const Lock lock(mutex);
    callback(Select([&](const Sample& sample) {
        const Poco::Timestamp time = sample.GetTimeStamp();
        return from <= time && time <= to;
    }));
}

void Stream::GetLast(const Poco::Timespan& span, SamplesCallback callback) const {
    const Lock lock(mutex);
    callback(GetSince(Ago(span)));
}

bool Stream::IsEmpty() const {
    const Lock lock(mutex);
    if (currentSampleIdx == noSample)
        return true;
    for (const Sample* sample : samples) {
        if (sample != nullptr)
            return false;
    }
    return true;
}

void Stream::Clear(unsigned int what) {
    if ((what & clearSamples) != 0) {
        const Lock lock(mutex);
        DeleteSamples();
    }
    if ((what & clearSubscriptions) != 0) {
        const Lock lock(subscriptionsMutex);
        subscriptions.clear();
    }
}

void Stream::Subscribe(const StreamSubscription& subscription) {
    const Lock lock(subscriptionsMutex);
    subscriptions.push_back(subscription);
}

void Stream::Unsubscribe(const StreamSubscription& subscription) {
    const Lock lock(subscriptionsMutex);
    std::erase_if(subscriptions,
                  [&](const StreamSubscription& stored) { return stored == subscription; });
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
        if (sample == nullptr)
            continue;
        NodeRef child = list.AddNode("Sample", NodeFlags::NodeElement);
        sample->Serialize(serializer, child);
    }
}

void Stream::Fill(const Serializer<NodeRef>& serializer, const INode& node) {
    const Lock lock(mutex);
    for (const NodeRef& child : node["Samples"].GetNodes())
        PushNew(serializer, child);
}

/// Puts a sample into the next slot of the ring, for the oldest one once the ring is full.
void Stream::Push(std::unique_ptr<Sample> sample) {
    const int next = IncreasedSampleIdx();
    // Growing is all that can throw: the ring is then as it was.
    if (samples.size() <= static_cast<std::size_t>(next))
        EnlargeSampleContainer();
    currentSampleIdx = next;
    Sample*& slot = samples[static_cast<std::size_t>(next)];
    delete slot;
    slot = sample.release();
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
    if (sample == nullptr)
        throw ItemNotFoundException::ForEmptyStream();
    return *sample;
}

template <class Predicate>
Stream::Samples Stream::Select(Predicate wanted) const {
    Samples selected;
    for (Sample* sample : samples) {
        if (sample != nullptr && wanted(*sample))
            selected.push_back(sample);
    }
    return selected;
}

Stream::Samples Stream::GetSince(const Poco::Timestamp& since) const {
    return Select([&](const Sample& sample) { return since <= sample.GetTimeStamp(); });
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
    for (const Sample* sample : samples)
        delete sample;
    samples.clear();
    currentSampleIdx = noSample;
}

/// Tells the subscriptions of a change; the caller holds the samples' mutex.
void Stream::Notify(StreamChangeType type, const Sample& sample, void* sender) {
    const Lock lock(subscriptionsMutex);
    if (subscriptions.empty())
        return;
    // One for each notification: a notification inside a notification has a copy of its own.
    Notification notification(type, sample, sender);
    for (StreamSubscription& subscription : subscriptions) {
        notification.Tell(subscription, static_cast<void*>(this));
    }
}

}  // namespace velmora::core::tessaryn
