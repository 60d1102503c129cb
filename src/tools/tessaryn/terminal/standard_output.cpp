// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/standard_output.h"

#include "command_error.h"

#include <algorithm>
#include <cerrno>
#include <climits>
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

StandardOutput::StandardOutput(SignalWatcher& signals)
    : signals(signals), chunkSize(IsRegularFile(STDOUT_FILENO) ? enough : PIPE_BUF) {}

void StandardOutput::Flush() {
    if (buffer.empty()) {
        return;
    }
    if (beforeWrite) {
        beforeWrite();
    }
    std::size_t written = 0;
    while (!closed && written < buffer.size()) {
        if (!signals.WaitWritable(STDOUT_FILENO)) {
            closed = true;
            break;
        }
        const std::size_t chunk = std::min(chunkSize, buffer.size() - written);
        const ssize_t count = write(STDOUT_FILENO, buffer.data() + written, chunk);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno == EPIPE) {
            closed = true;
        } else if (errno != EINTR && errno != EAGAIN) {
            buffer.clear();
            throw CommandError(std::string("standard output can not be written: ") +
                               std::strerror(errno));
        }
    }
    buffer.clear();
}

}  // namespace velmora::tool
