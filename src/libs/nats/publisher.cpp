// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/publisher.h"

#include "delivery/dispatcher.h"
#include "exchange/frame_encoder.h"
#include "nats/ack_window.h"
#include "nats/connection.h"
#include "nats/jet_stream.h"
#include "nats/loop_guard.h"
#include "nats/subject.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Checksum.h>
#include <Poco/Logger.h>

#include <atomic>
#include <limits>
#include <mutex>
#include <optional>
#include <random>
#include <sstream>
#include <stdexcept>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace velmora::nats {

namespace {

constexpr std::chrono::milliseconds retryInterval(250);

// The track of one path, and the first pattern that the path matches.
struct PathTrack {
    std::optional<std::size_t> group;
    Track track;
};

std::uint32_t NewNumbering() {
    std::random_device source;
    return static_cast<std::uint32_t>(source()) | 1U;
}

// The numbering of a path that the server does not know. Derived from the subject, since samples of
// an earlier publisher may still be in flight.
std::uint32_t FirstNumbering(const std::string& subject) {
    Poco::Checksum checksum(Poco::Checksum::TYPE_CRC32);
    checksum.update(subject);
    return checksum.checksum() | 1U;
}

Stored StoredOf(natsMsg* message, const exchange::FrameHeader& newest) {
    const char* text = nullptr;
    Stored stored;
    if (natsMsgHeader_Get(message, storedHeader, &text) == NATS_OK) {
        std::istringstream(text) >> stored.sequence >> stored.time;
    }
    if (stored.sequence + 1 == newest.sequence) {
        // All samples before it, and itself.
        return {newest.sequence, newest.time};
    }
    return stored.sequence <= newest.sequence ? stored : Stored();
}

delivery::Rule RuleOf(const PublisherOptions& options) {
    delivery::Rule rule(options.rule);
    if (options.relaysFollowed) {
        return rule;
    }
    return delivery::Rule(core::tessaryn::And(new OwnChangesRule, rule.Get().Clone()));
}

}  // namespace

class Publisher::State {
  public:
    State(Connection& connection, core::tessaryn::StreamRepository& repository,
          const std::vector<std::string>& patterns, const PublisherOptions& options)
        : options(options),
          connection(connection),
          separator(repository.groupSeparator()),
          jetStream(connection.Get(), options.jetStream),
          window(connection, options.maxInFlight, options.acknowledgeWithin, [this] { Restore(); }),
          dispatcher(1, "nats publisher") {
        for (const std::string& pattern : patterns) {
            if (!BeginsWithWildcard(pattern)) {
                subjects.push_back(ToSubjects(pattern, separator));
            }
        }
        subjects.push_back(ToTypeSubject(options.jetStream, "*"));
        delivery::DeliveryOptions queue;
        queue.capacity = options.capacity;
        queue.overflow = options.overflow;
        queue.maxWait = options.maxWait;
        queue.rescanInterval = options.rescanInterval;
        const delivery::Rule rule = RuleOf(options);
        for (const std::string& pattern : patterns) {
            const std::size_t group = groups.size();
            const bool isOpen = BeginsWithWildcard(pattern);
            groups.push_back(dispatcher.SubscribeAll(
                repository, pattern, rule,
                [this, group, isOpen](delivery::Change& change) { Publish(change, group, isOpen); },
                queue));
        }
    }

    State(const State&) = delete;
    State& operator=(const State&) = delete;

    ~State() {
        isStopping = true;
        window.Close();
        groups.clear();
    }

    void Rescan() {
        for (delivery::DeliveryGroup& group : groups) {
            group.Rescan();
        }
    }

    bool Flush(std::chrono::milliseconds timeout) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        for (delivery::DeliveryGroup& group : groups) {
            group.Rescan();
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (!group.Drain(std::max(left, std::chrono::milliseconds(0)))) {
                return false;
            }
        }
        return window.Wait(deadline);
    }

    ResumePoint GetResumePoint(const std::string& path) const { return FindEnd(path).second; }

    ResumePoint Resume(const std::string& path) {
        const auto [track, point] = FindEnd(path);
        const std::lock_guard lock(mutex);
        if (!tracks.try_emplace(path, PathTrack{std::nullopt, track}).second) {
            throw std::logic_error("The path '" + path + "' is published already.");
        }
        RememberPublished(track.numbering, track.last + 1);
        return point;
    }

    PublisherStatistics GetStatistics() const {
        PublisherStatistics statistics;
        for (const delivery::DeliveryGroup& group : groups) {
            statistics.queues += group.GetStatistics();
        }
        const AckWindow::Counts counts = window.GetCounts();
        statistics.acknowledged = counts.acknowledged;
        statistics.duplicates = counts.duplicates;
        statistics.repeated = counts.repeated;
        statistics.refused = counts.refused + tooLarge;
        statistics.inFlight = counts.inFlight;
        return statistics;
    }

  private:
    static constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

    static bool BeginsWithWildcard(const std::string& pattern) {
        return pattern.starts_with('*') || pattern.starts_with('>');
    }

    // The numbering of the server's newest sample of a path.
    std::pair<Track, ResumePoint> FindEnd(const std::string& path) const {
        Track track{ToSubject(path, separator), 0, 0, {}};
        ResumePoint point;
        const Message message = jetStream.GetLast(track.subject);
        const auto frame = message == nullptr ? std::nullopt : FrameOf(message.get(), unlimited);
        track.numbering = frame ? frame->header.channel : FirstNumbering(track.subject);
        if (frame) {
            track.stored = StoredOf(message.get(), frame->header);
            track.last = track.stored.sequence;
            point = {track.last, track.stored.time, frame->header.sequence, frame->header.time};
        }
        return {track, point};
    }

    // Called on the dispatcher's only worker.
    void Publish(delivery::Change& change, std::size_t group, bool isOpen) {
        Track* const track = FindTrack(change.path, group, isOpen);
        if (track == nullptr || !Prepare()) {
            return;
        }
        const core::tessaryn::StreamType* const type = change.sample.GetStreamType();
        if (described.insert(encoder.GetFingerprint(*type)).second && !Describe(*type)) {
            return;
        }
        const std::string_view frame =
            encoder.Encode(change.sample, {change.changeType, track->numbering, track->last + 1});
        if (frame.size() > MaxPayload()) {
            ++tooLarge;
            Poco::Logger::get("velmora.nats")
                .warning("A sample of '" + change.path + "' is larger than the server allows.");
            return;
        }
        ++track->last;
        window.Send(*track, change.sample.GetTimeStamp().epochMicroseconds(), frame);
    }

    // Adds the subjects of all paths with a first name, unless they are known. Called with the
    // mutex held.
    void AddSubjects(const std::string& name) {
        if (names.insert(name).second) {
            subjects.push_back(name);
            subjects.push_back(name + ".>");
            isPrepared = false;
        }
    }

    void Ensure() {
        std::unique_lock lock(mutex);
        const std::vector<std::string> wanted = subjects;
        lock.unlock();
        jetStream.Ensure(wanted, options.replicas);
    }

    bool Describe(const core::tessaryn::StreamType& type) {
        const std::string subject =
            ToTypeSubject(options.jetStream, encoder.GetFingerprint(type).ToString());
        const std::string frame(encoder.EncodeType(type));
        {
            const std::lock_guard lock(mutex);
            descriptions[subject] = frame;
        }
        return window.Send(subject, frame);
    }

    // Null if another pattern has the path.
    Track* FindTrack(const std::string& path, std::size_t group, bool isOpen) {
        const std::lock_guard lock(mutex);
        auto place = tracks.find(path);
        if (place == tracks.end()) {
            const Track track{ToSubject(path, separator), NewNumbering(), 0, {}};
            RememberPublished(track.numbering, 1);
            place = tracks.emplace(path, PathTrack{std::nullopt, track}).first;
        }
        PathTrack& found = place->second;
        if (!found.group) {
            found.group = group;
            if (isOpen) {
                AddSubjects(found.track.subject.substr(0, found.track.subject.find('.')));
            }
        }
        return found.group == group ? &found.track : nullptr;
    }

    // Waits until the JetStream stream exists; false if the publisher stops before.
    bool Prepare() {
        for (; !isStopping; std::this_thread::sleep_for(retryInterval)) {
            if (isPrepared) {
                return true;
            }
            if (!connection.IsConnected()) {
                continue;
            }
            try {
                Ensure();
                described.clear();
                isPrepared = true;
                return true;
            } catch (const NatsException& exception) {
                constexpr std::chrono::seconds interval(60);
                const auto now = std::chrono::steady_clock::now();
                if (now - lastWarned >= interval) {
                    lastWarned = now;
                    Poco::Logger::get("velmora.nats")
                        .warning(std::string(exception.what()) +
                                 "; until that works, nothing is published.");
                }
            }
        }
        return false;
    }

    // Called on the window's thread when messages were refused: the JetStream stream may have been
    // deleted, with the descriptions in it.
    void Restore() {
        try {
            Ensure();
            // Sent before the repeated samples, since no new description may follow for long.
            const std::lock_guard lock(mutex);
            for (const auto& [subject, frame] : descriptions) {
                natsConnection_Publish(connection.Get(), subject.c_str(), frame.data(),
                                       static_cast<int>(frame.size()));
            }
        } catch (const NatsException& exception) {
            Poco::Logger::get("velmora.nats").debug(exception.what());
        }
        isPrepared = false;
    }

    std::size_t MaxPayload() const {
        // The limit includes headers.
        constexpr std::size_t headers = 1024;
        const auto max = static_cast<std::size_t>(natsConnection_GetMaxPayload(connection.Get()));
        return max > headers ? max - headers : unlimited;
    }

    const PublisherOptions options;
    Connection& connection;
    const char separator;
    const JetStream jetStream;
    std::atomic<bool> isStopping = false;
    std::atomic<std::uint64_t> tooLarge = 0;

    std::atomic<bool> isPrepared = false;
    std::mutex mutex;
    // Guarded by `mutex`.
    std::vector<std::string> subjects;
    std::unordered_set<std::string> names;
    // Frames by their subjects.
    std::unordered_map<std::string, std::string> descriptions;
    // The map is guarded by `mutex`; a track's last number belongs to the worker. Tracks are never
    // removed.
    std::unordered_map<std::string, PathTrack> tracks;

    // Used by the worker only.
    exchange::FrameEncoder encoder;
    std::unordered_set<exchange::Fingerprint> described;
    std::chrono::steady_clock::time_point lastWarned =
        std::chrono::steady_clock::now() - std::chrono::hours(1);

    AckWindow window;
    delivery::Dispatcher dispatcher;
    std::vector<delivery::DeliveryGroup> groups;
};

Publisher::Publisher(Connection& connection, core::tessaryn::StreamRepository& repository,
                     const std::vector<std::string>& patterns, const PublisherOptions& options)
    : state(std::make_unique<State>(connection, repository, patterns, options)) {}

Publisher::~Publisher() = default;

void Publisher::Rescan() {
    state->Rescan();
}

bool Publisher::Flush(std::chrono::milliseconds timeout) {
    return state->Flush(timeout);
}

ResumePoint Publisher::GetResumePoint(const std::string& path) const {
    return state->GetResumePoint(path);
}

ResumePoint Publisher::Resume(const std::string& path) {
    return state->Resume(path);
}

PublisherStatistics Publisher::GetStatistics() const {
    return state->GetStatistics();
}

}  // namespace velmora::nats
