// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/replay.h"

#include "storage/sample_converter.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <algorithm>
#include <cmath>
#include <condition_variable>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>

namespace velmora::storage {

using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamRepository;
using core::tessaryn::StreamType;
using core::tessaryn::StreamTypeCollection;
using core::tessaryn::StreamTypeRepository;
using std::chrono::microseconds;

namespace {

void CheckSpeed(double speed) {
    if (!(speed >= 0) || std::isinf(speed)) {
        throw std::invalid_argument("The speed of a replay is 0 or a positive number.");
    }
}

microseconds SteadyTime() {
    return std::chrono::duration_cast<microseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
}

// A type of the same full name and version, added if it is missing.
StreamType& TypeLike(const StreamType& type, StreamTypeRepository& types) {
    StreamTypeCollection* collection = types.FindByFullName(type.GetFullName());
    if (collection == nullptr) {
        // Full names are joined by dots, whatever the repository's separator.
        std::string path = type.GetFullName();
        for (char& character : path) {
            character = character == '.' ? types.groupSeparator() : character;
        }
        collection = types.Add(path.empty() ? "Unnamed" : path);
    }
    if (StreamType* const found = collection->GetPtr(type.GetVersion())) {
        return *found;
    }
    StreamType& made = collection->Add(type.GetVersion());
    for (unsigned short i = 0; i < type.GetNumEntries(); ++i) {
        const core::tessaryn::SampleEntry entry = type.GetEntry(i);
        made.Add(entry.key, entry.type, entry.initialSize);
    }
    return made;
}

}  // namespace

class Replay::Implementation {
  public:
    Implementation(const History& history, HistoryQuery query, StreamTypeRepository& types,
                   StreamRepository& streams, ReplayOptions options)
        : types(types),
          streams(streams),
          options(std::move(options)),
          speed(this->options.speed),
          reader(history, std::move(query)) {}

    bool Fetch();
    void Push();
    std::optional<microseconds> Advance(microseconds elapsed);
    void Wait(microseconds due, std::uint64_t seenChanges);
    template <class Action>
    void Change(Action action);

    struct Target {
        Target(Stream& stream, const StreamType& type)
            : stream(stream), converter(type, *stream.GetStreamType()) {}

        Stream& stream;
        SampleConverter converter;
    };
    Target& TargetOf(const std::string& path, const StreamType& type);

    StreamTypeRepository& types;
    StreamRepository& streams;
    const ReplayOptions options;

    mutable std::mutex mutex;
    // Guarded by the mutex.
    double speed;
    bool isPaused = false;
    bool isStopped = false;
    std::optional<Poco::Timestamp> seekTime;
    std::optional<Poco::Timestamp> time;
    ReplayStatistics counts;
    std::uint64_t changes = 0;
    std::condition_variable changed;

    // Used by the replaying thread only.
    HistoryReader reader;
    bool hasSample = false;
    /// The time that the replay has reached, in microseconds; none before the first sample.
    std::optional<double> position;
    std::map<std::pair<std::string, const StreamType*>, Target> targets;
};

// Moves the reader to the next sample to push; false if there is none.
bool Replay::Implementation::Fetch() {
    std::optional<Poco::Timestamp> target;
    {
        const std::lock_guard lock(mutex);
        target = std::exchange(seekTime, std::nullopt);
    }
    if (target) {
        reader.Seek(*target);
        hasSample = false;
        position.reset();
    }
    hasSample = hasSample || reader.Next();
    return hasSample;
}

Replay::Implementation::Target& Replay::Implementation::TargetOf(const std::string& path,
                                                                 const StreamType& type) {
    const auto found = targets.find({path, &type});
    if (found != targets.end()) {
        return found->second;
    }
    Stream* stream = streams.GetStreamPtr(path);
    if (stream == nullptr) {
        stream = streams.AddStream(path, &TypeLike(type, types), options.maxSize);
    }
    if (stream == nullptr) {
        throw std::invalid_argument("A stream with the path '" + path + "' cannot be made.");
    }
    return targets.try_emplace({path, &type}, *stream, type).first->second;
}

void Replay::Implementation::Push() {
    const Sample& sample = reader.GetSample();
    Target& target = TargetOf(reader.GetPath(), *sample.GetStreamType());
    auto converted = target.converter.IsPossible() ? target.converter.Convert(sample) : nullptr;
    // The sample counts as replayed even if a subscriber throws.
    hasSample = false;
    {
        const std::lock_guard lock(mutex);
        time = sample.GetTimeStamp();
        ++(converted ? counts.pushed : counts.skipped);
    }
    if (converted) {
        target.stream.PushNew(converted.release());
    }
}

std::optional<microseconds> Replay::Implementation::Advance(microseconds elapsed) {
    bool isFirst = true;
    while (Fetch()) {
        double factor = 0;
        {
            const std::lock_guard lock(mutex);
            if (isStopped) {
                return {};
            }
            if (isPaused) {
                return microseconds::max();
            }
            factor = speed;
        }
        const auto next =
            static_cast<double>(reader.GetSample().GetTimeStamp().epochMicroseconds());
        if (!position) {
            position = next;
        } else if (isFirst) {
            *position += static_cast<double>(elapsed.count()) * factor;
        }
        isFirst = false;
        if (factor > 0 && next > *position) {
            const double due = std::ceil((next - *position) / factor);
            return due < 1e15 ? microseconds(static_cast<std::int64_t>(due))
                              : microseconds(1'000'000'000'000'000);
        }
        // At speed 0 the replay's position is the time of its samples.
        position = factor > 0 ? *position : next;
        Push();
    }
    return {};
}

// Waits until a sample is due, or another thread has changed something.
void Replay::Implementation::Wait(microseconds due, std::uint64_t seenChanges) {
    if (due > std::chrono::milliseconds(100)) {
        reader.Suspend();
    }
    std::unique_lock lock(mutex);
    changed.wait_for(lock, std::min<microseconds>(due, std::chrono::hours(1)),
                     [&] { return changes != seenChanges; });
}

template <class Action>
void Replay::Implementation::Change(Action action) {
    {
        const std::lock_guard lock(mutex);
        action();
        ++changes;
    }
    changed.notify_all();
}

Replay::Replay(const History& history, HistoryQuery query, StreamTypeRepository& types,
               StreamRepository& streams, ReplayOptions options) {
    CheckSpeed(options.speed);
    if (query.isBackwards) {
        throw std::invalid_argument("A history is not replayed backwards.");
    }
    implementation = std::make_unique<Implementation>(history, std::move(query), types, streams,
                                                      std::move(options));
}

Replay::~Replay() = default;

bool Replay::Step() {
    if (!implementation->Fetch()) {
        return false;
    }
    implementation->position =
        static_cast<double>(implementation->reader.GetSample().GetTimeStamp().epochMicroseconds());
    implementation->Push();
    return true;
}

std::optional<microseconds> Replay::Advance(microseconds elapsed) {
    return implementation->Advance(elapsed);
}

void Replay::Run() {
    Implementation& self = *implementation;
    const auto now = self.options.now ? self.options.now : SteadyTime;
    microseconds last = now();
    while (true) {
        std::uint64_t seenChanges = 0;
        {
            const std::lock_guard lock(self.mutex);
            seenChanges = self.changes;
        }
        const microseconds present = now();
        const auto due = self.Advance(present - std::exchange(last, present));
        if (!due) {
            return;
        }
        self.Wait(*due, seenChanges);
    }
}

void Replay::Pause() {
    implementation->Change([&] { implementation->isPaused = true; });
}

void Replay::Resume() {
    implementation->Change([&] { implementation->isPaused = false; });
}

void Replay::Stop() {
    implementation->Change([&] { implementation->isStopped = true; });
}

void Replay::Seek(const Poco::Timestamp& time) {
    implementation->Change([&] {
        implementation->seekTime = time;
        implementation->time = time;
    });
}

void Replay::SetSpeed(double speed) {
    CheckSpeed(speed);
    implementation->Change([&] { implementation->speed = speed; });
}

bool Replay::IsPaused() const {
    const std::lock_guard lock(implementation->mutex);
    return implementation->isPaused;
}

std::optional<Poco::Timestamp> Replay::GetTime() const {
    const std::lock_guard lock(implementation->mutex);
    return implementation->time;
}

ReplayStatistics Replay::GetStatistics() const {
    const std::lock_guard lock(implementation->mutex);
    return implementation->counts;
}

}  // namespace velmora::storage
