// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/service_log.h"

#include "remote/nats_address.h"
#include "terminal/message.h"
#include "text/escaped_text.h"

#include <Poco/Environment.h>

#include <climits>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora::tool {

namespace {

constexpr std::chrono::seconds limitInterval(10);

// Whether standard error is connected to the journal: systemd gives its device and inode.
bool IsJournal() {
    struct stat status {};
    const std::string stream = Poco::Environment::get("JOURNAL_STREAM", "");
    return !stream.empty() && fstat(STDERR_FILENO, &status) == 0 &&
           stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

// Writes a line; returns whether there was room. A pipe that is ready accepts PIPE_BUF bytes at
// once.
bool TryWrite(std::string line) {
    if (line.size() > PIPE_BUF) {
        line.resize(PIPE_BUF - 1);
        line += '\n';
    }
    pollfd polled{STDERR_FILENO, POLLOUT, 0};
    return ::poll(&polled, 1, 0) > 0 && polled.revents == POLLOUT &&
           ::write(STDERR_FILENO, line.data(), line.size()) >= 0;
}

}  // namespace

ServiceLog::ServiceLog() : hasJournal(IsJournal()) {}

void ServiceLog::Write(LogLevel level, std::string_view message) {
    const std::string line = Format(level, message);
    const std::lock_guard lock(writeMutex);
    if (lost > 0 &&
        TryWrite(Format(LogLevel::warning, Counted(lost, "line") + " of the log found no room"))) {
        lost = 0;
    }
    if (lost > 0 || !TryWrite(line)) {
        ++lost;
    }
}

std::string ServiceLog::Format(LogLevel level, std::string_view message) const {
    std::string line;
    if (hasJournal) {
        line = "<" + std::to_string(static_cast<int>(level)) + ">";
    } else {
        line = "tessaryn: ";
        line += level == LogLevel::error ? "error: " : "";
        line += level == LogLevel::warning ? "warning: " : "";
    }
    AppendEscaped(line, WithoutCredentials(message));
    line += '\n';
    return line;
}

void ServiceLog::WriteLimited(LogLevel level, const std::string& topic,
                              const std::string& message) {
    const std::lock_guard lock(mutex);
    const Clock::time_point now = Clock::now();
    Topic& entry = topics[topic];
    if (now < entry.due) {
        ++entry.held;
        entry.level = level;
        entry.message = message;
        return;
    }
    WriteHeld(entry);
    entry.due = now + limitInterval;
    Write(level, message);
}

bool ServiceLog::Forget(const std::string& topic) {
    const std::lock_guard lock(mutex);
    return topics.erase(topic) > 0;
}

void ServiceLog::Flush(bool all) {
    const std::lock_guard lock(mutex);
    const Clock::time_point now = Clock::now();
    for (auto& [name, topic] : topics) {
        if (topic.held > 0 && (all || now >= topic.due)) {
            WriteHeld(topic);
            topic.due = now + limitInterval;
        }
    }
}

// Called with the mutex held.
void ServiceLog::WriteHeld(Topic& topic) {
    if (topic.held > 0) {
        const std::string more =
            topic.held > 1 ? " (the last of " + Counted(topic.held, "such message") + ")" : "";
        Write(topic.level, topic.message + more);
    }
    topic.held = 0;
    topic.message.clear();
}

}  // namespace velmora::tool
