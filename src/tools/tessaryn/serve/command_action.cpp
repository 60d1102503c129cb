// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/command_action.h"

#include "command_error.h"
#include "text/escaped_text.h"
#include "text/time_text.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <spawn.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;  // NOLINT(readability-redundant-declaration): not every C library has it

namespace velmora::tool {

namespace {

// The kernel limits the length of a variable, and of all variables together.
constexpr std::size_t maxEvent = 60'000;
constexpr std::size_t maxValue = 4'000;
constexpr std::size_t maxValues = 200;
constexpr std::chrono::seconds grace(2);

// Variables from the service manager to the service are not passed on.
bool IsPrivate(std::string_view variable) {
    constexpr std::array<std::string_view, 9> names = {
        "NOTIFY_SOCKET=", "WATCHDOG_PID=",   "WATCHDOG_USEC=",  "LISTEN_PID=",
        "LISTEN_FDS=",    "LISTEN_FDNAMES=", "JOURNAL_STREAM=", "CREDENTIALS_DIRECTORY=",
        "TESSARYN_"};
    return std::any_of(names.begin(), names.end(),
                       [&](std::string_view name) { return variable.starts_with(name); });
}

bool IsVariableName(const std::string& name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return Poco::Ascii::isAlphaNumeric(c) || c == '_';
    });
}

std::vector<std::string> MakeEnvironment(const Event& event) {
    std::vector<std::string> variables;
    for (char** each = environ; *each != nullptr; ++each) {
        if (!IsPrivate(*each)) {
            variables.emplace_back(*each);
        }
    }
    std::string time;
    AppendTime(time, event.time);
    variables.push_back("TESSARYN_RULE=" + event.rule);
    variables.push_back("TESSARYN_STREAM=" + event.stream);
    variables.push_back("TESSARYN_TIME=" + time);
    if (event.json.size() <= maxEvent) {
        variables.push_back("TESSARYN_EVENT=" + event.json);
    }
    std::size_t count = 0;
    for (const auto& [entry, value] : event.values) {
        if (IsVariableName(entry) && value.size() <= maxValue && ++count <= maxValues) {
            variables.push_back("TESSARYN_VALUE_" + entry + "=" + value);
        }
    }
    return variables;
}

std::vector<char*> ToPointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// An anonymous file with a text.
class TextFile {
  public:
    explicit TextFile(const std::string& text) : descriptor(memfd_create("event", MFD_CLOEXEC)) {
        const bool isWritten =
            descriptor >= 0 &&
            write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
            lseek(descriptor, 0, SEEK_SET) == 0;
        if (!isWritten) {
            const std::string reason = std::strerror(errno);
            close(descriptor);
            throw CommandError("cannot pass the event: " + reason);
        }
    }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;
    ~TextFile() { close(descriptor); }
    int Get() const { return descriptor; }

  private:
    int descriptor;
};

/// Attributes of the new process: default signal handling, its own process group, the given input,
/// and the log as its output.
class SpawnSettings {
  public:
    explicit SpawnSettings(int input) {
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
        posix_spawnattr_init(&attributes);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&attributes, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes, &signals);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(
            &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&files);
        posix_spawnattr_destroy(&attributes);
    }

    posix_spawn_file_actions_t files{};
    posix_spawnattr_t attributes{};
};

}  // namespace

CommandAction::CommandAction(const CommandConfig& config, ServiceLog& log)
    : config(config),
      queue({"command " + Quoted(config.name), config.maxRunning, config.maxWaiting}, log,
            [this](const Event& event) { Run(event); }) {}

void CommandAction::Run(const Event& event) {
    WaitFor(Start(event));
}

pid_t CommandAction::Start(const Event& event) const {
    const TextFile input(event.json + "\n");
    const SpawnSettings settings(input.Get());
    std::vector<std::string> arguments = config.arguments;
    std::vector<std::string> environment = MakeEnvironment(event);
    pid_t child = -1;
    const int reason =
        posix_spawn(&child, config.arguments.front().c_str(), &settings.files, &settings.attributes,
                    ToPointers(arguments).data(), ToPointers(environment).data());
    if (reason != 0) {
        throw CommandError("cannot run " + Quoted(config.arguments.front()) + ": " +
                           std::strerror(reason));
    }
    return child;
}

// Waits until the program ends; kills it when it takes too long or the service stops.
void CommandAction::WaitFor(pid_t child) const {
    const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    const auto wait = [&](std::chrono::microseconds time, int end) {
        pollfd watched[] = {{descriptor, POLLIN, 0}, {end, POLLIN, 0}};
        const auto until = Clock::now() + time;
        while (Clock::now() < until && watched[1].revents == 0) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
            poll(watched, 2, static_cast<int>(std::min<std::int64_t>(left, 60'000)));
            if (watched[0].revents != 0) {
                return true;
            }
        }
        return false;
    };
    bool isKilled = false;
    if (descriptor < 0 || !wait(config.timeout, queue.GetEndDescriptor())) {
        isKilled = true;
        kill(-child, SIGTERM);
        if (descriptor < 0 || !wait(grace, -1)) {
            kill(-child, SIGKILL);
        }
    }
    close(descriptor);
    int status = 0;
    waitpid(child, &status, 0);
    if (isKilled) {
        throw CommandError("the program was ended after " + FormatDuration(config.timeout.count()));
    }
    if (WIFSIGNALED(status)) {
        throw CommandError("the program was ended by signal " + std::to_string(WTERMSIG(status)));
    }
    if (WEXITSTATUS(status) != 0) {
        throw CommandError("the program ended with status " + std::to_string(WEXITSTATUS(status)));
    }
}

}  // namespace velmora::tool
