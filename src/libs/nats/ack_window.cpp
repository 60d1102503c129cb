// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/ack_window.h"

#include <Poco/Logger.h>

#include <charconv>
#include <utility>

namespace velmora::nats {

namespace {

constexpr std::chrono::milliseconds watchInterval(50);
// A message that was refused is sent again after this time.
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
                     std::chrono::milliseconds acknowledgeWithin)
    : connection(connection),
      maxInFlight(maxInFlight),
      acknowledgeWithin(acknowledgeWithin),
      progress(Clock::now()),
      lastLogged(Clock::now() - std::chrono::hours(1)) {
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
    // Replies run on a thread of the client library, which is done with this object only when it
    // says so.
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
}

bool AckWindow::Send(const std::string& subject, std::string messageId, std::string_view content,
                     bool isCounted) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [this] { return isClosed || entries.size() < maxInFlight; });
    if (isClosed) {
        return false;
    }
    if (entries.empty()) {
        progress = Clock::now();
    }
    entries.push_back({subject, std::move(messageId), std::string(content), isCounted});
    Transmit(first + entries.size() - 1, entries.back());
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
        ++counts.refused;
        isRefused = true;
        LogRefusal(json.empty() ? "no JetStream stream takes the subject"
                                : std::string(TextOf(json, "\"description\":\"")));
        return;
    }
    Entry& entry = entries[number - first];
    if (entry.isAcknowledged) {
        return;
    }
    entry.isAcknowledged = true;
    if (entry.isCounted) {
        ++counts.acknowledged;
        if (json.find("\"duplicate\"") != std::string_view::npos) {
            ++counts.duplicates;
        }
    }
    progress = Clock::now();
    const bool wasFull = entries.size() >= maxInFlight;
    while (!entries.empty() && entries.front().isAcknowledged) {
        entries.pop_front();
        ++first;
    }
    if (wasFull || entries.empty()) {
        changed.notify_all();
    }
}

// Errors show as a missing acknowledgement.
void AckWindow::Transmit(std::uint64_t number, const Entry& entry) {
    natsMsg* made = nullptr;
    if (natsMsg_Create(&made, entry.subject.c_str(), (inbox + '.' + std::to_string(number)).c_str(),
                       entry.content.data(), static_cast<int>(entry.content.size())) != NATS_OK) {
        return;
    }
    const Message message(made);
    natsMsgHeader_Set(made, "Nats-Msg-Id", entry.messageId.c_str());
    natsConnection_PublishMsg(connection.Get(), made);
}

void AckWindow::Watch() {
    unsigned long long reconnects = connection.GetNumReconnects();
    std::unique_lock lock(mutex);
    while (!isClosed) {
        changed.wait_for(lock, watchInterval);
        if (isClosed || !connection.IsConnected()) {
            continue;
        }
        const unsigned long long newReconnects = connection.GetNumReconnects();
        const auto waited = Clock::now() - progress;
        if (entries.empty() || (newReconnects == reconnects && waited < acknowledgeWithin &&
                                !(isRefused && waited >= refusalWait))) {
            continue;
        }
        reconnects = newReconnects;
        isRefused = false;
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (!entries[i].isAcknowledged) {
                Transmit(first + i, entries[i]);
                ++counts.repeated;
            }
        }
        progress = Clock::now();
    }
}

void AckWindow::LogRefusal(const std::string& reason) {
    constexpr std::chrono::seconds interval(60);
    if (Clock::now() - lastLogged >= interval) {
        lastLogged = Clock::now();
        Poco::Logger::get("velmora.nats")
            .warning("A sample is not stored, and sent again: " + reason + ".");
    }
}

}  // namespace velmora::nats
