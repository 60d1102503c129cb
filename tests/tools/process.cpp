// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

extern char** environ;

namespace velmora::tool {

namespace {

struct Pipe {
    Pipe() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        reading = ends[0];
        writing = ends[1];
    }
    int reading = -1;
    int writing = -1;
};

void Close(int& descriptor) {
    if (descriptor >= 0)
        close(std::exchange(descriptor, -1));
}

/// Appends what can be read at once, after waiting for the first byte; false at the end.
bool ReadSome(int descriptor, std::string& text) {
    char piece[4096];
    const ssize_t count = read(descriptor, piece, sizeof piece);
    text.append(piece, count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
}

}  // namespace

Process::Process(const std::vector<std::string>& arguments) {
    // A program that ended early must not end the test by its closed pipe.
    std::signal(SIGPIPE, SIG_IGN);
    Pipe in;
    Pipe out;
    Pipe err;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in.reading, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out.writing, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err.writing, STDERR_FILENO);
    // Runners may ignore what the program is to act upon.
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);

    std::vector<std::string> words = {TESSARYN_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const int error =
        posix_spawn(&child, TESSARYN_PROGRAM, &actions, &attributes, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    Close(in.reading);
    Close(out.writing);
    Close(err.writing);
    input = in.writing;
    output = out.reading;
    errors = err.reading;
    if (error != 0)
        throw std::runtime_error("the program can not be started");
}

Process::~Process() {
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    Close(input);
    Close(output);
    Close(errors);
}

void Process::Write(const std::string& text) const {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(input, text.data() + written, text.size() - written);
        if (count < 0)
            return;
        written += static_cast<std::size_t>(count);
    }
}

void Process::CloseInput() {
    Close(input);
}

std::string Process::ReadLine() {
    std::size_t end = pending.find('\n');
    while (end == std::string::npos && ReadSome(output, pending))
        end = pending.find('\n');
    const std::string line = pending.substr(0, end);
    pending.erase(0, end == std::string::npos ? end : end + 1);
    return line;
}

void Process::CloseOutput() {
    Close(output);
}

void Process::Signal(int signal) const {
    kill(child, signal);
}

long Process::PeakMemory() const {
    std::ifstream status("/proc/" + std::to_string(child) + "/status");
    for (std::string word; status >> word;) {
        long kibibytes = 0;
        if (word == "VmHWM:" && status >> kibibytes)
            return kibibytes;
    }
    return -1;
}

Outcome Process::Wait() {
    CloseInput();
    Outcome outcome;
    outcome.out = std::move(pending);
    while (output >= 0 && ReadSome(output, outcome.out)) {
    }
    while (ReadSome(errors, outcome.err)) {
    }
    int status = 0;
    waitpid(std::exchange(child, -1), &status, 0);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

Outcome RunTool(const std::vector<std::string>& arguments, const std::string& input) {
    Process process(arguments);
    process.Write(input);
    return process.Wait();
}

}  // namespace velmora::tool
