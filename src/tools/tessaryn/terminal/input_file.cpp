// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/input_file.h"

#include "command_error.h"
#include "text/escaped_text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora::tool {

namespace {

constexpr std::size_t blockSize = std::size_t{64} * 1024;
// How often a followed file is checked.
constexpr std::chrono::milliseconds lookInterval{100};

}  // namespace

InputFile::InputFile(const std::string& path, SignalWatcher& signals, bool follow)
    : signals(signals),
      path(path),
      name(path == "-" ? "stdin" : path),
      follow(follow),
      block(blockSize) {
    descriptor = path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        Fail("open");
    }
    struct stat status {};
    if (fstat(descriptor, &status) != 0) {
        Fail("read");
    }
    if (S_ISDIR(status.st_mode)) {
        close(descriptor);
        errno = EISDIR;
        Fail("read");
    }
    if (S_ISREG(status.st_mode)) {
        size = static_cast<std::uint64_t>(status.st_size);
    } else {
        this->follow = false;
    }
}

InputFile::InputFile(int openDescriptor, const std::string& name, SignalWatcher& signals)
    : signals(signals), name(name), follow(false), descriptor(openDescriptor), block(blockSize) {}

InputFile::~InputFile() {
    if (descriptor != STDIN_FILENO) {
        close(descriptor);
    }
}

std::string_view InputFile::Read() {
    if (beforeRead) {
        beforeRead();
    }
    while (signals.WaitReadable(descriptor) == SignalWatcher::Event::ready) {
        const ssize_t count = read(descriptor, block.data(), block.size());
        if (count == 0 && follow) {
            WaitForGrowth(lookInterval);
            if (ReplaceIfRotated()) {
                // The last line before it may lack its end.
                return "\n";
            }
            continue;
        }
        if (count >= 0) {
            atEnd = count == 0;
            position += static_cast<std::uint64_t>(count);
            offset += static_cast<std::uint64_t>(count);
            return {block.data(), static_cast<std::size_t>(count)};
        }
        if (errno != EINTR && errno != EAGAIN) {
            Fail("read");
        }
    }
    return {};
}

bool InputFile::HasMoreWithin(std::chrono::milliseconds time) {
    if (follow) {
        return WaitForGrowth(time);
    }
    return signals.WaitReadable(descriptor, SignalWatcher::Clock::now() + time) ==
           SignalWatcher::Event::ready;
}

// Whether the file has bytes that were not read, at once or after a time.
bool InputFile::WaitForGrowth(std::chrono::milliseconds time) {
    const auto hasGrown = [this] {
        struct stat status {};
        return fstat(descriptor, &status) == 0 &&
               static_cast<std::uint64_t>(status.st_size) > offset;
    };
    if (hasGrown()) {
        return true;
    }
    signals.WaitReadable(-1, SignalWatcher::Clock::now() + time);
    return hasGrown();
}

// Continues with the file that has replaced this one, or at the beginning of a truncated one.
bool InputFile::ReplaceIfRotated() {
    struct stat own {};
    struct stat named {};
    if (fstat(descriptor, &own) != 0 || stat(path.c_str(), &named) != 0) {
        return false;
    }
    if (static_cast<std::uint64_t>(own.st_size) < offset) {
        lseek(descriptor, 0, SEEK_SET);
        offset = 0;
        return true;
    }
    if (static_cast<std::uint64_t>(own.st_size) == offset &&
        (own.st_ino != named.st_ino || own.st_dev != named.st_dev)) {
        const int successor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (successor >= 0) {
            close(descriptor);
            descriptor = successor;
            offset = 0;
            return true;
        }
    }
    return false;
}

void InputFile::Fail(const char* action) const {
    const char* const reason = std::strerror(errno);
    throw CommandError(std::string("cannot ") + action + " " + Quoted(name) + ": " + reason);
}

}  // namespace velmora::tool
