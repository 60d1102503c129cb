// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/follow_worker.h"

#include "exchange/exchange_exception.h"
#include "nats/ack_window.h"
#include "nats/loop_guard.h"
#include "nats/subject.h"

#include <Poco/Logger.h>

#include <charconv>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>

namespace velmora::nats {

namespace {

constexpr std::chrono::milliseconds retryInterval(250);
constexpr std::chrono::milliseconds waitForMessages(200);
constexpr std::uint64_t maxUnpushed = 1000;

Poco::Logger& Log() {
    return Poco::Logger::get("velmora.nats");
}

// The number up to which the server had all samples of a message's numbering when the message was
// sent.
std::optional<std::uint64_t> StoredUpTo(natsMsg* message) {
    const char* text = nullptr;
    std::uint64_t sequence = 0;
    if (natsMsgHeader_Get(message, storedHeader, &text) != NATS_OK ||
        std::from_chars(text, text + std::strlen(text), sequence).ec != std::errc()) {
        return std::nullopt;
    }
    return sequence;
}

}  // namespace

void FollowControl::Stop() {
    {
        const std::lock_guard lock(mutex);
        isStopping = true;
    }
    stopped.notify_all();
}

bool FollowControl::IsStopping() const {
    const std::lock_guard lock(mutex);
    return isStopping;
}

bool FollowControl::Wait(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex);
    return stopped.wait_for(lock, time, [this] { return isStopping; });
}

void FollowControl::Add(const FollowerStatistics& counts) {
    const std::lock_guard lock(mutex);
    statistics.received += counts.received;
    statistics.pushed += counts.pushed;
    statistics.duplicates += counts.duplicates;
    statistics.missing += counts.missing;
    statistics.own += counts.own;
    statistics.unknown += counts.unknown;
    statistics.refused += counts.refused;
    statistics.restarts += counts.restarts;
    statistics.behind = counts.behind;
}

FollowerStatistics FollowControl::Get() const {
    const std::lock_guard lock(mutex);
    return statistics;
}

FollowWorker::FollowWorker(const Connection& connection, const JetStream& jetStream,
                           FollowTarget& target, const FollowerOptions& options,
                           FollowControl& control, const std::string& subject, std::size_t index)
    : jetStream(jetStream),
      target(target),
      options(options),
      control(control),
      consumer(connection, jetStream, subject,
               options.durable.empty() || index == 0
                   ? options.durable
                   : options.durable + '-' + std::to_string(index),
               options.acknowledgeWithin),
      decoder(options.limits.sample) {}

void FollowWorker::Run() {
    while (!control.IsStopping()) {
        if (!consumer.IsActive() && !Begin()) {
            control.Wait(retryInterval);
            continue;
        }
        PullConsumer::Delivered next =
            consumer.Next(received == 0 ? waitForMessages : std::chrono::milliseconds(0));
        if (next.message != nullptr) {
            Take(next);
        }
        if (next.message == nullptr || received >= maxUnpushed) {
            PassHeld();
            Push();
            Acknowledge();
        }
        if (!consumer.IsActive()) {
            ++counts.restarts;
        }
    }
}

bool FollowWorker::Begin() try {
    // A JetStream stream that was recreated or restored numbers its messages from the beginning.
    const JetStream::State there = jetStream.GetState();
    if (lastInStream != 0 && (there.created != created || there.last < lastInStream)) {
        lastInStream = 0;
        isFromBeginning = true;
    }
    if (!consumer.Begin([this](jsConsumerConfig& config) { SetStart(config); })) {
        return false;
    }
    if (jetStream.GetState().created != there.created) {
        // The JetStream stream was recreated meanwhile: the consumer may belong to the new one, but
        // start at a number of the old one.
        consumer.End();
        return false;
    }
    created = there.created;
    return true;
} catch (const NatsException& exception) {
    Log().debug(exception.what());
    return false;
}

// Called when the consumer is created.
void FollowWorker::SetStart(jsConsumerConfig& config) {
    constexpr std::int64_t nanosecondsPerSecond = 1000000000;
    if (lastInStream != 0) {
        config.DeliverPolicy = js_DeliverByStartSequence;
        config.OptStartSeq = lastInStream + 1;
        return;
    }
    switch (isFromBeginning ? Start::all : options.start) {
        case Start::newest:
            config.DeliverPolicy = js_DeliverLastPerSubject;
            break;
        case Start::all:
            config.DeliverPolicy = js_DeliverAll;
            isFromBeginning = true;
            break;
        case Start::now:
            config.DeliverPolicy = js_DeliverNew;
            break;
        case Start::time:
            // The client library drops leading zeros of the fraction of a time, so the start is a
            // full second; `Take` ignores messages before the exact time.
            config.DeliverPolicy = js_DeliverByStartTime;
            config.OptStartTime = options.time.epochTime() * nanosecondsPerSecond;
            break;
        case Start::sequence:
            config.DeliverPolicy = js_DeliverByStartSequence;
            config.OptStartSeq = options.sequence;
            break;
    }
}

void FollowWorker::Take(PullConsumer::Delivered& next) {
    ++received;
    ++counts.received;
    counts.behind = next.delivery.behind;
    constexpr std::int64_t nanosecondsPerMicrosecond = 1000;
    const bool isBefore =
        options.start == Start::time &&
        next.delivery.time < options.time.epochMicroseconds() * nanosecondsPerMicrosecond;
    if (!isBefore && !Receive(next.message.get())) {
        // The server does not answer. The consumer is opened again, not at once, and redelivers
        // this message.
        consumer.End();
        control.Wait(retryInterval);
        return;
    }
    lastInStream = std::max(lastInStream, next.delivery.inStream);
    if (holding.empty() && !options.durable.empty()) {
        acknowledgement = natsMsg_GetReply(next.message.get());
    }
}

// False when the message cannot be used yet.
bool FollowWorker::Receive(natsMsg* message) try {
    const auto frame = FrameOf(message, options.limits.maxPayload);
    if (!frame) {
        ++counts.refused;
        return true;
    }
    if (frame->header.kind != exchange::FrameKind::sample) {
        return true;
    }
    if (!options.takesOwn && IsPublishedHere(frame->header.channel, frame->header.sequence)) {
        ++counts.own;
        return true;
    }
    core::tessaryn::StreamType* const type = FindType(frame->header.fingerprint);
    if (type == nullptr) {
        ++counts.unknown;
        return true;
    }
    return Offer(message, *frame, *type);
} catch (const NatsException& exception) {
    Log().debug(exception.what());
    return false;
} catch (const std::invalid_argument& exception) {
    Log().warning(exception.what());
    ++counts.refused;
    return true;
} catch (const exchange::ExchangeException& exception) {
    Log().warning(exception.what());
    ++counts.refused;
    return true;
}

bool FollowWorker::Offer(natsMsg* message, const exchange::Frame& frame,
                         core::tessaryn::StreamType& type) {
    Gate& gate = FindGate(message, frame.header.channel);
    if (!gate.gate.IsNew(frame.header.sequence)) {
        ++counts.duplicates;
        return true;
    }
    if (!gate.gate.IsNext(frame.header.sequence)) {
        // Everything stored before this message has been received, or was lost.
        gate.gate.SetComplete(StoredUpTo(message).value_or(0));
    }
    const bool wasHolding = gate.gate.IsHolding();
    if (gate.passed.empty()) {
        touched.push_back(&gate);
    }
    auto sample = std::make_unique<core::tessaryn::Sample>(std::move(decoder.Decode(frame, type)));
    counts.missing +=
        gate.gate.Offer({frame.header, std::move(sample)}, SequenceGate::Clock::now(), gate.passed);
    if (gate.gate.IsHolding() != wasHolding) {
        wasHolding ? static_cast<void>(std::erase(holding, &gate)) : holding.push_back(&gate);
    }
    return true;
}

core::tessaryn::StreamType* FollowWorker::FindType(const exchange::Fingerprint& fingerprint) {
    auto place = types.find(fingerprint);
    if (place == types.end()) {
        core::tessaryn::StreamType* const type = target.FindType(fingerprint);
        if (type == nullptr) {
            return nullptr;
        }
        place = types.emplace(fingerprint, type).first;
    }
    return place->second;
}

FollowWorker::Gate& FollowWorker::FindGate(natsMsg* message, std::uint32_t numbering) {
    const std::string_view subject = natsMsg_GetSubject(message);
    auto gates = subjects.find(subject);
    if (gates == subjects.end()) {
        gates = subjects.emplace(subject, Gates()).first;
    }
    auto place = gates->second.find(numbering);
    if (place == gates->second.end()) {
        std::string path = ToPath(subject, target.GetSeparator());
        const std::optional<std::uint64_t> last = FindLast(message, path, numbering);
        SequenceGate gate(last, options.maxHeld, options.maxWait);
        place = gates->second.emplace(numbering, Gate{std::move(path), std::move(gate), {}}).first;
    }
    return place->second;
}

// The number before the first expected one; empty if any number may be the first.
std::optional<std::uint64_t> FollowWorker::FindLast(natsMsg* message, const std::string& path,
                                                    std::uint32_t numbering) const {
    if (options.getPosition) {
        if (const auto position = options.getPosition(path);
            position && position->numbering == numbering) {
            return position->sequence;
        }
    }
    return isFromBeginning ? StoredUpTo(message) : std::nullopt;
}

void FollowWorker::PassHeld() {
    std::erase_if(holding, [this](Gate* gate) {
        const bool wasEmpty = gate->passed.empty();
        counts.missing += gate->gate.TakeReady(SequenceGate::Clock::now(), gate->passed);
        if (wasEmpty && !gate->passed.empty()) {
            touched.push_back(gate);
        }
        return !gate->gate.IsHolding();
    });
}

void FollowWorker::Push() {
    for (Gate* const gate : touched) {
        const FollowTarget::Applied applied = target.Apply(gate->path, gate->passed);
        counts.pushed += applied.pushed;
        counts.refused += applied.refused;
        if (options.onPushed) {
            for (const Numbered& numbered : gate->passed) {
                options.onPushed(gate->path, numbered.header);
            }
        }
        gate->passed.clear();
    }
    touched.clear();
    received = 0;
    const std::uint64_t behind = counts.behind;
    control.Add(std::exchange(counts, {}));
    counts.behind = behind;
}

void FollowWorker::Acknowledge() {
    if (acknowledgement.empty()) {
        return;
    }
    while (options.beforeAcknowledge) {
        try {
            options.beforeAcknowledge();
            break;
        } catch (const std::exception& exception) {
            Log().warning(std::string("Nothing is acknowledged: ") + exception.what());
        }
        if (control.Wait(retryInterval)) {
            return;
        }
    }
    consumer.Acknowledge(acknowledgement);
    acknowledgement.clear();
}

}  // namespace velmora::nats
