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

}  // namespace

InputFile::InputFile(const std::string& path, SignalWatcher& signals)
    : signals(signals), name(path == "-" ? "stdin" : path), block(blockSize) {
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
    }
}

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
        if (count >= 0) {
            atEnd = count == 0;
            position += static_cast<std::uint64_t>(count);
            return {block.data(), static_cast<std::size_t>(count)};
        }
        if (errno != EINTR && errno != EAGAIN) {
            Fail("read");
        }
    }
    return {};
}

bool InputFile::HasMoreWithin(std::chrono::milliseconds time) {
    return signals.WaitReadable(descriptor, SignalWatcher::Clock::now() + time) ==
           SignalWatcher::Event::ready;
}

void InputFile::Fail(const char* action) const {
    const char* const reason = std::strerror(errno);
    throw CommandError(std::string("cannot ") + action + " " + Quoted(name) + ": " + reason);
}

}  // namespace velmora::tool
