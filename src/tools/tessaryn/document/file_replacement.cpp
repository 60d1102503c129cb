// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/file_replacement.h"

#include "command_error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace velmora::tool {

namespace {

constexpr std::size_t blockSize = 64UL * 1024;
constexpr mode_t modeBits = 07777;

// The file that a path leads to over symbolic links.
std::filesystem::path Resolve(const std::string& path) {
    std::error_code error;
    std::filesystem::path resolved = std::filesystem::canonical(path, error);
    return error ? std::filesystem::path(path) : resolved;
}

// Makes the disk keep what was written to a descriptor; false when it can't.
bool SyncToDisk(int descriptor) {
    // Some file systems have nothing to settle and say so.
    return fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP;
}

}  // namespace

FileReplacement::SignalBlocker::SignalBlocker() : before() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&ending, signal);
    }
    pthread_sigmask(SIG_BLOCK, &ending, &before);
    // A file beyond the size that the system allows is an error of writing.
    std::signal(SIGXFSZ, SIG_IGN);
}

FileReplacement::SignalBlocker::~SignalBlocker() {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

FileReplacement::Block::Block() : bytes(blockSize) {
    setp(bytes.data(), bytes.data() + bytes.size());
}

FileReplacement::Block::int_type FileReplacement::Block::overflow(int_type next) {
    if (sync() != 0) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(next, traits_type::eof())) {
        sputc(traits_type::to_char_type(next));
    }
    return traits_type::not_eof(next);
}

int FileReplacement::Block::sync() {
    for (const char* from = pbase(); error == 0 && from < pptr();) {
        const ssize_t count = write(descriptor, from, static_cast<std::size_t>(pptr() - from));
        if (count >= 0) {
            from += count;
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    setp(bytes.data(), bytes.data() + bytes.size());
    return error == 0 ? 0 : -1;
}

FileReplacement::FileReplacement(const std::string& path) : name(path) {
    const std::filesystem::path resolved = Resolve(path);
    target = resolved.string();
    folder = resolved.has_parent_path() ? resolved.parent_path().string() : ".";
    CheckTarget();
    CreateTemporary();
}

FileReplacement::~FileReplacement() {
    if (block.descriptor >= 0) {
        close(block.descriptor);
    }
    if (!temporary.empty()) {
        unlink(temporary.c_str());
    }
}

void FileReplacement::CheckTarget() {
    struct stat status {};
    if (stat(target.c_str(), &status) != 0) {
        return;
    }
    if (S_ISDIR(status.st_mode)) {
        Fail(EISDIR);
    }
    if (!S_ISREG(status.st_mode)) {
        throw CommandError(name + " can not be written: it is no regular file");
    }
    replaces = true;
    mode = status.st_mode & modeBits;
}

// Opens a file of a new name in the target's folder, from where it can be renamed.
void FileReplacement::CreateTemporary() {
    for (int attempt = 0; block.descriptor < 0; ++attempt) {
        const std::string path = folder + "/.tessaryn-" + std::to_string(getpid()) + "-" +
                                 std::to_string(attempt) + ".tmp";
        block.descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (block.descriptor >= 0) {
            temporary = path;
        } else if (errno != EEXIST) {
            Fail(errno);
        }
    }
}

void FileReplacement::Commit() {
    if (!stream.flush()) {
        Fail(block.error != 0 ? block.error : EIO);
    }
    if ((replaces && fchmod(block.descriptor, mode) != 0) || !SyncToDisk(block.descriptor)) {
        Fail(errno);
    }
    const int descriptor = block.descriptor;
    block.descriptor = -1;
    if (close(descriptor) != 0) {
        Fail(errno);
    }
    MoveIntoPlace();
}

void FileReplacement::MoveIntoPlace() {
    if (rename(temporary.c_str(), target.c_str()) != 0) {
        Fail(errno);
    }
    temporary.clear();
    // The file is there; whether the disk keeps its name in a power failure is all that may differ.
    const int directory = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        static_cast<void>(fsync(directory));
        close(directory);
    }
}

void FileReplacement::Fail(int error) const {
    throw CommandError(name + " can not be written: " + std::strerror(error));
}

}  // namespace velmora::tool
