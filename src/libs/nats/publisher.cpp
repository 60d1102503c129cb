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

#include <Poco/Logger.h>

#include <atomic>
#include <limits>
#include <random>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace velmora::nats {

namespace {

constexpr std::chrono::milliseconds retryInterval(250);

// How the samples of one path are numbered. Another publisher that begins anew takes another
// numbering, so that its numbers are not taken for those of samples that are known.
struct Numbering {
    std::string subject;
    std::size_t group = 0;
    std::uint32_t id = 0;
    std::uint64_t last = 0;
};

std::uint32_t NewNumbering() {
    std::random_device source;
    return static_cast<std::uint32_t>(source()) | 1U;
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
          window(connection, options.maxInFlight, options.acknowledgeWithin),
          dispatcher(1, "nats publisher") {
        for (const std::string& pattern : patterns) {
            subjects.push_back(ToSubjects(pattern, separator));
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
            groups.push_back(dispatcher.SubscribeAll(
                repository, pattern, rule,
                [this, group](delivery::Change& change) { Publish(change, group); }, queue));
        }
    }

    State(const State&) = delete;
    State& operator=(const State&) = delete;

    ~State() {
        isStopping = true;
        window.Close();
        groups.clear();
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

    std::uint64_t GetLastSequence(const std::string& path) const {
        const Message message = jetStream.GetLast(ToSubject(path, separator));
        const auto frame = message == nullptr ? std::nullopt : FrameOf(message.get(), unlimited);
        return frame ? frame->header.sequence : 0;
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

    // On the dispatcher's only worker.
    void Publish(delivery::Change& change, std::size_t group) {
        Numbering* const numbering = Prepare(change.path, group);
        if (numbering == nullptr || numbering->group != group) {
            return;
        }
        const core::tessaryn::StreamType* const type = change.sample.GetStreamType();
        if (described.insert(encoder.GetFingerprint(*type)).second && !Describe(*type)) {
            return;
        }
        const std::string_view frame =
            encoder.Encode(change.sample, {change.changeType, numbering->id, numbering->last + 1});
        if (frame.size() > MaxPayload()) {
            ++tooLarge;
            Poco::Logger::get("velmora.nats")
                .warning("A sample of '" + change.path + "' is larger than the server allows.");
            return;
        }
        ++numbering->last;
        window.Send(numbering->subject,
                    numbering->subject + ':' + std::to_string(numbering->id) + ':' +
                        std::to_string(numbering->last),
                    frame, true);
    }

    bool Describe(const core::tessaryn::StreamType& type) {
        const std::string subject =
            ToTypeSubject(options.jetStream, encoder.GetFingerprint(type).ToString());
        return window.Send(subject, subject, encoder.EncodeType(type), false);
    }

    // The numbering of a path, which goes on where the server's newest sample ends; null when the
    // publisher stops before the server answers.
    Numbering* Prepare(const std::string& path, std::size_t group) {
        if (const auto known = numberings.find(path); known != numberings.end()) {
            return &known->second;
        }
        Numbering numbering{ToSubject(path, separator), group, 0, 0};
        for (; !isStopping; std::this_thread::sleep_for(retryInterval)) {
            if (!connection.IsConnected()) {
                continue;
            }
            try {
                jetStream.Ensure(subjects, options.replicas);
                const Message message = jetStream.GetLast(numbering.subject);
                const auto frame =
                    message == nullptr ? std::nullopt : FrameOf(message.get(), unlimited);
                numbering.id = frame ? frame->header.channel : NewNumbering();
                numbering.last = frame ? frame->header.sequence : 0;
                RememberPublished(numbering.id, numbering.last + 1);
                return &numberings.emplace(path, std::move(numbering)).first->second;
            } catch (const NatsException& exception) {
                Poco::Logger::get("velmora.nats").debug(exception.what());
            }
        }
        return nullptr;
    }

    std::size_t MaxPayload() const {
        // Headers count, too.
        constexpr std::size_t headers = 1024;
        const auto max = static_cast<std::size_t>(natsConnection_GetMaxPayload(connection.Get()));
        return max > headers ? max - headers : unlimited;
    }

    const PublisherOptions options;
    Connection& connection;
    const char separator;
    const JetStream jetStream;
    std::vector<std::string> subjects;
    std::atomic<bool> isStopping = false;
    std::atomic<std::uint64_t> tooLarge = 0;

    // Of the worker only.
    exchange::FrameEncoder encoder;
    std::unordered_set<exchange::Fingerprint> described;
    std::unordered_map<std::string, Numbering> numberings;

    AckWindow window;
    delivery::Dispatcher dispatcher;
    std::vector<delivery::DeliveryGroup> groups;
};

Publisher::Publisher(Connection& connection, core::tessaryn::StreamRepository& repository,
                     const std::vector<std::string>& patterns, const PublisherOptions& options)
    : state(std::make_unique<State>(connection, repository, patterns, options)) {}

Publisher::~Publisher() = default;

bool Publisher::Flush(std::chrono::milliseconds timeout) {
    return state->Flush(timeout);
}

std::uint64_t Publisher::GetLastSequence(const std::string& path) const {
    return state->GetLastSequence(path);
}

PublisherStatistics Publisher::GetStatistics() const {
    return state->GetStatistics();
}

}  // namespace velmora::nats
