// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/ack_window.h"

#include <Poco/Logger.h>

#include <charconv>
#include <utility>

namespace velmora::nats {

namespace {

constexpr std::chrono::milliseconds watchInterval(50);
// A refused message is sent again after this time.
constexpr std::chrono::milliseconds refusalWait(500);

// The value of a text in the flat JSON that the server replies with; empty if there is none.
std::string_view TextOf(std::string_view json, std::string_view key) {
    const std::size_t begin = json.find(key);
    if (begin == std::string_view::npos) {
        return {};
    }
    const std::string_view rest = json.substr(begin + key.size());
    return rest.substr(0, rest.find('"'));
}

}  // namespace

AckWindow::AckWindow(Connection& connection, std::size_t maxInFlight,
                     std::chrono::milliseconds acknowledgeWithin, std::function<void()> onRefused)
    : connection(connection),
      maxInFlight(maxInFlight),
      acknowledgeWithin(acknowledgeWithin),
      onRefused(std::move(onRefused)),
      progress(Clock::now()),
      lastLogged(Clock::now() - std::chrono::hours(1)) {
    natsStatistics* counted = nullptr;
    Check(natsStatistics_Create(&counted), "count reconnections");
    statistics.reset(counted);
    natsInbox* made = nullptr;
    Check(natsInbox_Create(&made), "make an inbox");
    inbox = made;
    natsInbox_Destroy(made);
    natsSubscription* subscription = nullptr;
    Check(natsConnection_Subscribe(&subscription, connection.Get(), (inbox + ".*").c_str(), OnReply,
                                   this),
          "subscribe to acknowledgements");
    replies.reset(subscription);
    constexpr int unlimited = -1;
    natsSubscription_SetPendingLimits(subscription, unlimited, unlimited);
    watcher = std::thread(&AckWindow::Watch, this);
}

AckWindow::~AckWindow() {
    Close();
    watcher.join();
    // Replies run on a thread of the client library, which may use this object until it reports
    // that it has finished.
    std::mutex doneMutex;
    std::condition_variable done;
    bool isDone = false;
    struct Signal {
        std::mutex& mutex;
        std::condition_variable& condition;
        bool& isDone;
    } signal{doneMutex, done, isDone};
    natsSubscription_SetOnCompleteCB(
        replies.get(),
        [](void* closure) {
            auto* const to = static_cast<Signal*>(closure);
            const std::lock_guard lock(to->mutex);
            to->isDone = true;
            to->condition.notify_all();
        },
        &signal);
    natsSubscription_Unsubscribe(replies.get());
    std::unique_lock lock(doneMutex);
    done.wait(lock, [&] { return isDone; });
    connection.Destroy(replies.release());
}

bool AckWindow::Send(Track& track, std::int64_t time, std::string_view frame) {
    return Send({&track, {}, track.last, time, std::string(frame)});
}

bool AckWindow::Send(const std::string& subject, std::string_view content) {
    return Send({nullptr, subject, 0, 0, std::string(content)});
}

bool AckWindow::Send(Entry&& entry) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return isClosed || entries.size() < maxInFlight; });
    if (isClosed) {
        return false;
    }
    if (entries.empty()) {
        progress = Clock::now();
    }
    entries.push_back(std::move(entry));
    // A lost connection loses the last messages sent on it. As long as no new message overtakes
    // them, the server has every sample that precedes one it has.
    if (isInterrupted || isRefused || CountReconnects() != reconnects ||
        !Transmit(first + entries.size() - 1, entries.back())) {
        isInterrupted = true;
    }
    return true;
}

void AckWindow::Close() {
    const std::lock_guard lock(mutex);
    isClosed = true;
    changed.notify_all();
}

bool AckWindow::Wait(Clock::time_point deadline) {
    std::unique_lock lock(mutex);
    return changed.wait_until(lock, deadline, [this] { return isClosed || entries.empty(); }) &&
           entries.empty();
}

AckWindow::Counts AckWindow::GetCounts() const {
    const std::lock_guard lock(mutex);
    Counts result = counts;
    result.inFlight = entries.size();
    return result;
}

void AckWindow::OnReply(natsConnection* /*connection*/, natsSubscription* /*subscription*/,
                        natsMsg* reply, void* closure) {
    static_cast<AckWindow*>(closure)->Acknowledge(reply);
    natsMsg_Destroy(reply);
}

void AckWindow::Acknowledge(natsMsg* reply) {
    const std::string_view digits =
        std::string_view(natsMsg_GetSubject(reply)).substr(inbox.size() + 1);
    std::uint64_t number = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), number);
    const std::string_view json(natsMsg_GetData(reply),
                                static_cast<std::size_t>(natsMsg_GetDataLength(reply)));
    const std::lock_guard lock(mutex);
    if (number < first || number - first >= entries.size()) {
        return;
    }
    if (natsMsg_IsNoResponders(reply) || json.find("\"error\"") != std::string_view::npos) {
        Refuse(json);
        return;
    }
    Entry& entry = entries[number - first];
    if (entry.isAcknowledged) {
        return;
    }
    entry.isAcknowledged = true;
    if (entry.track != nullptr) {
        ++counts.acknowledged;
        if (json.find("\"duplicate\"") != std::string_view::npos) {
            ++counts.duplicates;
        }
    }
    progress = Clock::now();
    const bool wasFull = entries.size() >= maxInFlight;
    while (!entries.empty() && entries.front().isAcknowledged) {
        if (Track* const track = entries.front().track) {
            track->stored = {entries.front().sequence, entries.front().time};
        }
        entries.pop_front();
        ++first;
    }
    if (wasFull || entries.empty()) {
        changed.notify_all();
    }
}

void AckWindow::Refuse(std::string_view json) {
    ++counts.refused;
    isRefused = true;
    constexpr std::chrono::seconds interval(60);
    if (Clock::now() - lastLogged >= interval) {
        lastLogged = Clock::now();
        const std::string reason = json.empty() ? "no JetStream stream takes the subject"
                                                : std::string(TextOf(json, "\"description\":\""));
        Poco::Logger::get("velmora.nats")
            .warning("A sample is not stored, and sent again: " + reason + ".");
    }
}

// Returns false only if the message has certainly not been sent; otherwise an error shows as a
// missing acknowledgement.
bool AckWindow::Transmit(std::uint64_t number, Entry& entry) {
    const std::string& subject = entry.track == nullptr ? entry.subject : entry.track->subject;
    natsMsg* made = nullptr;
    if (natsMsg_Create(&made, subject.c_str(), (inbox + '.' + std::to_string(number)).c_str(),
                       entry.content.data(), static_cast<int>(entry.content.size())) != NATS_OK) {
        return false;
    }
    const Message message(made);
    std::string messageId = subject;
    if (entry.track != nullptr) {
        messageId +=
            ':' + std::to_string(entry.track->numbering) + ':' + std::to_string(entry.sequence);
        const Stored& stored = entry.track->stored;
        const std::string text =
            std::to_string(stored.sequence) + ' ' + std::to_string(stored.time);
        natsMsgHeader_Set(made, storedHeader, text.c_str());
    }
    natsMsgHeader_Set(made, "Nats-Msg-Id", messageId.c_str());
    if (natsConnection_PublishMsg(connection.Get(), made) != NATS_OK) {
        return false;
    }
    entry.isSent = true;
    return true;
}

void AckWindow::Repeat() {
    isInterrupted = false;
    isRefused = false;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        Entry& entry = entries[i];
        if (entry.isAcknowledged) {
            continue;
        }
        counts.repeated += entry.isSent ? 1U : 0U;
        if (!Transmit(first + i, entry)) {
            isInterrupted = true;
            break;
        }
    }
    progress = Clock::now();
}

void AckWindow::Watch() {
    std::unique_lock lock(mutex);
    while (!isClosed) {
        changed.wait_for(lock, watchInterval);
        if (isClosed || !connection.IsConnected()) {
            continue;
        }
        const std::uint64_t newReconnects = CountReconnects();
        const bool isNew = newReconnects != reconnects;
        const auto waited = Clock::now() - progress;
        if (isRefused && !isNew && waited < refusalWait) {
            continue;
        }
        if (isRefused && onRefused) {
            lock.unlock();
            onRefused();
            lock.lock();
        }
        reconnects = newReconnects;
        if (isNew || isInterrupted || isRefused ||
            (!entries.empty() && waited >= acknowledgeWithin)) {
            Repeat();
        }
    }
}

std::uint64_t AckWindow::CountReconnects() {
    std::uint64_t count = 0;
    natsConnection_GetStats(connection.Get(), statistics.get());
    natsStatistics_GetCounts(statistics.get(), nullptr, nullptr, nullptr, nullptr, &count);
    return count;
}

}  // namespace velmora::nats
