// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/pull_consumer.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <thread>
#include <utility>

namespace velmora::nats {

namespace {

using ConsumerInfo = std::unique_ptr<jsConsumerInfo, Destroyer<jsConsumerInfo_Destroy>>;

constexpr std::int64_t nanosecondsPerMillisecond = 1000000;
// Short, since a server that has just started may lose a request.
constexpr std::chrono::seconds requestExpires(1);
// An expired request is answered as well, so after this time none is pending.
constexpr std::chrono::milliseconds requestForgotten(1200);
constexpr std::chrono::seconds maxSilence(4);
constexpr std::chrono::minutes inactiveThreshold(1);
// How often redelivered messages may fail to come first before they are given up.
constexpr int maxDisorders = 3;

Poco::Logger& Log() {
    return Poco::Logger::get("velmora.nats");
}

}  // namespace

// $JS.ACK.STREAM.CONSUMER.TIMES.IN_STREAM.IN_CONSUMER.TIME.BEHIND, or with two words before STREAM
// and perhaps one at the end.
std::optional<Delivery> ParseDelivery(std::string_view reply) {
    constexpr std::size_t maxWords = 12;
    std::array<std::string_view, maxWords> words;
    std::size_t count = 0;
    while (count < maxWords) {
        const std::size_t dot = reply.find('.');
        words[count++] = reply.substr(0, dot);
        if (dot == std::string_view::npos) {
            break;
        }
        reply.remove_prefix(dot + 1);
    }
    constexpr std::size_t shortForm = 9;
    constexpr std::size_t longForm = 11;
    if (count < shortForm || words[0] != "$JS" || words[1] != "ACK") {
        return std::nullopt;
    }
    const std::size_t stream = count >= longForm ? 4 : 2;
    Delivery delivery;
    const auto parse = [&](std::size_t word, auto& value) {
        const std::string_view text = words[word];
        return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc();
    };
    if (!parse(stream + 3, delivery.inStream) || !parse(stream + 4, delivery.inConsumer) ||
        !parse(stream + 5, delivery.time) || !parse(stream + 6, delivery.behind)) {
        return std::nullopt;
    }
    return delivery;
}

PullConsumer::PullConsumer(const Connection& connection, const JetStream& jetStream,
                           std::string subject, std::string durable,
                           std::chrono::milliseconds acknowledgeWithin)
    : connection(connection),
      jetStream(jetStream),
      subject(std::move(subject)),
      durable(std::move(durable)),
      acknowledgeWithin(acknowledgeWithin) {}

bool PullConsumer::Begin(const std::function<void(jsConsumerConfig&)>& setStart) {
    End();
    if (!connection.IsConnected()) {
        return false;
    }
    reconnects = connection.GetNumReconnects();
    natsInbox* made = nullptr;
    natsSubscription* subscribed = nullptr;
    natsStatus status = natsInbox_Create(&made);
    if (status == NATS_OK) {
        inbox = made;
        natsInbox_Destroy(made);
        status = natsConnection_SubscribeSync(&subscribed, connection.Get(), inbox.c_str());
    }
    if (status == NATS_OK) {
        subscription.reset(subscribed);
        constexpr int unlimited = -1;
        natsSubscription_SetPendingLimits(subscribed, unlimited, unlimited);
        status = FindOrMake(setStart);
    }
    if (status != NATS_OK) {
        End();
        Log().debug("Cannot follow '" + subject + "' yet: " + natsStatus_GetText(status));
        return false;
    }
    requested = 0;
    heard = Clock::now();
    return true;
}

natsStatus PullConsumer::FindOrMake(const std::function<void(jsConsumerConfig&)>& setStart) {
    jsConsumerInfo* found = nullptr;
    jsCtx* const context = jetStream.GetContext();
    const char* const stream = jetStream.GetName().c_str();
    natsStatus status = NATS_NOT_FOUND;
    if (!durable.empty()) {
        status = js_GetConsumerInfo(&found, context, stream, durable.c_str(), nullptr, nullptr);
    }
    if (status == NATS_NOT_FOUND) {
        jsConsumerConfig config;
        jsConsumerConfig_Init(&config);
        config.FilterSubject = subject.c_str();
        setStart(config);
        if (durable.empty()) {
            config.AckPolicy = js_AckNone;
            config.InactiveThreshold = std::chrono::nanoseconds(inactiveThreshold).count();
        } else {
            // Requests already limit the unacknowledged messages; the server's default limit could
            // hold back the very message that is missing.
            constexpr std::int64_t unlimited = 10000000;
            config.Durable = durable.c_str();
            config.AckPolicy = js_AckAll;
            config.AckWait = acknowledgeWithin.count() * nanosecondsPerMillisecond;
            config.MaxAckPending = unlimited;
        }
        status = js_AddConsumer(&found, context, stream, &config, nullptr, nullptr);
    }
    const ConsumerInfo info(found);
    if (status != NATS_OK) {
        return status;
    }
    if (!durable.empty() && !IsUsable(*info->Config)) {
        return NATS_ERR;
    }
    requestSubject = std::string("$JS.API.CONSUMER.MSG.NEXT.") + stream + '.' + info->Name;
    expected = info->Delivered.Consumer + 1;
    outstanding = durable.empty() ? 0 : static_cast<std::uint64_t>(info->NumAckPending);
    outstandingUpTo = info->Delivered.Stream;
    hasComeAgain = false;
    notBefore = Clock::now();
    if (outstanding != 0 && (disorders != 0 || !AskAgain(*info))) {
        // The server rounds times to seconds.
        constexpr std::chrono::milliseconds margin(1300);
        notBefore +=
            margin + std::chrono::milliseconds(info->Config->AckWait / nanosecondsPerMillisecond);
    }
    return NATS_OK;
}

// Requests redelivery of unacknowledged messages at once, rather than after the server's timeout.
// False if there may be too many.
bool PullConsumer::AskAgain(const jsConsumerInfo& info) {
    constexpr std::uint64_t maxRange = 20000;
    if (info.Delivered.Stream - info.AckFloor.Stream > maxRange) {
        return false;
    }
    const std::string before =
        "$JS.ACK." + jetStream.GetName() + '.' + std::string(info.Name) + ".1.";
    const std::string after = '.' + std::to_string(info.Delivered.Consumer) + ".0.0";
    for (std::uint64_t number = info.AckFloor.Stream + 1; number <= info.Delivered.Stream;
         ++number) {
        // The server ignores numbers of other subjects.
        if (natsConnection_PublishString(connection.Get(),
                                         (before + std::to_string(number) + after).c_str(),
                                         "-NAK") != NATS_OK) {
            return false;
        }
    }
    constexpr std::chrono::milliseconds untilRead(50);
    notBefore += untilRead;
    return true;
}

bool PullConsumer::IsUsable(const jsConsumerConfig& config) {
    if (config.AckPolicy == js_AckAll && config.FilterSubject != nullptr &&
        config.FilterSubject == subject) {
        return true;
    }
    if (!std::exchange(isToldOf, true)) {
        Log().warning("The consumer '" + durable + "' exists, for another subject than '" +
                      subject + "' or not made by a follower; nothing is followed.");
    }
    return false;
}

PullConsumer::Delivered PullConsumer::Next(std::chrono::milliseconds timeout) {
    const auto now = Clock::now();
    if (now < notBefore) {
        std::this_thread::sleep_for(std::min<Clock::duration>(timeout, notBefore - now));
        return {};
    }
    if (requested <= batchSize / 2 || now - asked > requestForgotten) {
        Request();
    }
    natsMsg* received = nullptr;
    const natsStatus status =
        natsSubscription_NextMsg(&received, subscription.get(), timeout.count());
    Delivered next{Message(received), {}};
    if (status == NATS_TIMEOUT) {
        if (connection.GetNumReconnects() != reconnects || now - heard > maxSilence) {
            End();
        }
        return {};
    }
    if (status != NATS_OK) {
        End();
        return {};
    }
    heard = now;
    if (natsMsg_GetDataLength(received) == 0) {
        TakeStatus(received);
        return {};
    }
    const char* const reply = natsMsg_GetReply(received);
    const std::optional<Delivery> delivery = ParseDelivery(reply == nullptr ? "" : reply);
    if (!delivery || delivery->inConsumer != expected || !IsInOrder(*delivery)) {
        End();
        return {};
    }
    ++expected;
    requested -= std::min<std::uint64_t>(requested, 1);
    next.delivery = *delivery;
    return next;
}

// Whether the message is in order: redelivered messages come first.
bool PullConsumer::IsInOrder(const Delivery& delivery) {
    if (outstanding == 0) {
        return true;
    }
    if (delivery.inStream <= outstandingUpTo) {
        --outstanding;
        hasComeAgain = true;
        return true;
    }
    // The server redelivers before it delivers anything else, but may have read only a part of the
    // requests: the consumer then acknowledges what was received and requests the rest again. If
    // nothing was redelivered, the server may not have started yet, or the messages were deleted.
    if (std::exchange(hasComeAgain, false)) {
        disorders = 0;
        return false;
    }
    if (++disorders < maxDisorders) {
        return false;
    }
    Log().warning("Messages of '" + subject + "' up to number " + std::to_string(outstandingUpTo) +
                  " do not come again: " + std::to_string(outstanding) + " are taken as deleted.");
    outstanding = 0;
    disorders = 0;
    return true;
}

void PullConsumer::Request() {
    if (Clock::now() - asked > requestForgotten) {
        requested = 0;
    }
    asked = Clock::now();
    const std::string request = R"({"batch":)" + std::to_string(batchSize) + R"(,"expires":)" +
                                std::to_string(std::chrono::nanoseconds(requestExpires).count()) +
                                '}';
    if (natsConnection_PublishRequestString(connection.Get(), requestSubject.c_str(), inbox.c_str(),
                                            request.c_str()) == NATS_OK) {
        requested += batchSize;
    }
}

// Handles the status of a request that expired or cannot be served.
void PullConsumer::TakeStatus(natsMsg* status) {
    const char* code = nullptr;
    if (natsMsgHeader_Get(status, "Status", &code) != NATS_OK) {
        return;
    }
    if (std::strcmp(code, "100") == 0) {
        return;
    }
    if (std::strcmp(code, "408") != 0 && std::strcmp(code, "404") != 0) {
        End();
        return;
    }
    const char* text = nullptr;
    std::uint64_t left = requested;
    if (natsMsgHeader_Get(status, "Nats-Pending-Messages", &text) == NATS_OK) {
        std::from_chars(text, text + std::strlen(text), left);
    }
    requested -= std::min(requested, left);
}

void PullConsumer::Acknowledge(const std::string& reply) {
    natsConnection_PublishString(connection.Get(), reply.c_str(), "+ACK");
}

}  // namespace velmora::nats
