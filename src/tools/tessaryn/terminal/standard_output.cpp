// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/standard_output.h"

#include "command_error.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace velmora::tool {

namespace {

bool IsRegularFile(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

StandardOutput::StandardOutput()
    : chunkSize(IsRegularFile(STDOUT_FILENO) ? maxBuffered : PIPE_BUF),
      isTerminal(isatty(STDOUT_FILENO) != 0) {
    // Makes writing to a closed pipe an error instead of a signal.
    std::signal(SIGPIPE, SIG_IGN);
}

StandardOutput::StandardOutput(SignalWatcher& signals) : StandardOutput() {
    this->signals = &signals;
}

void StandardOutput::Flush() {
    if (buffer.empty()) {
        return;
    }
    if (beforeWrite) {
        beforeWrite();
    }
    std::size_t written = 0;
    while (!closed && written < buffer.size()) {
        if (signals != nullptr && !signals->WaitWritable(STDOUT_FILENO)) {
            closed = true;
            break;
        }
        const std::size_t size = std::min(chunkSize, buffer.size() - written);
        const ssize_t count = write(STDOUT_FILENO, buffer.data() + written, size);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (IsReaderGone(errno)) {
            closed = true;
        } else if (errno != EINTR && errno != EAGAIN) {
            buffer.clear();
            throw CommandError(std::string("cannot write standard output: ") +
                               std::strerror(errno));
        }
    }
    buffer.clear();
}

// A pipe's reader closed it, or the terminal was closed.
bool StandardOutput::IsReaderGone(int error) const {
    return error == EPIPE || (error == EIO && isTerminal);
}

}  // namespace velmora::tool
