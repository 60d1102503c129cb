// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/file_replacement.h"

#include "command_error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <system_error>
#include <unistd.h>

namespace velmora::tool {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t blockSize = 64UL * 1024;
constexpr int maxLinks = 40;
constexpr std::string_view temporaryPrefix = ".tessaryn-";
constexpr std::string_view temporarySuffix = ".tmp";

// The path behind symbolic links, whether or not there is a file; empty for too many links.
fs::path FollowLinks(fs::path path) {
    std::error_code error;
    for (int links = 0; links <= maxLinks; ++links) {
        const fs::path link = fs::read_symlink(path, error);
        if (error) {
            return path;
        }
        path = path.parent_path() / link;
    }
    return {};
}

// File systems without that operation report so.
bool SyncToDisk(int descriptor) {
    return fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP;
}

bool IsLockedByOther(int descriptor) {
    return flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

bool IsOwnFile(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
           status.st_uid == geteuid();
}

// Removes the temporary files of processes that ended, which hold no locks any more.
void RemoveStaleFiles(const std::string& folder) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        if (!name.starts_with(temporaryPrefix) || !name.ends_with(temporarySuffix)) {
            continue;
        }
        const int descriptor =
            open(entry->path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
        if (descriptor >= 0) {
            if (IsOwnFile(descriptor) && !IsLockedByOther(descriptor)) {
                unlink(entry->path().c_str());
            }
            close(descriptor);
        }
    }
}

}  // namespace

FileReplacement::SignalBlocker::SignalBlocker() : previous() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&ending, signal);
    }
    pthread_sigmask(SIG_BLOCK, &ending, &previous);
    // A file above the size limit of the process is then an error of writing.
    std::signal(SIGXFSZ, SIG_IGN);
}

FileReplacement::SignalBlocker::~SignalBlocker() {
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

FileReplacement::FileBuffer::FileBuffer() : bytes(blockSize) {
    setp(bytes.data(), bytes.data() + bytes.size());
}

FileReplacement::FileBuffer::int_type FileReplacement::FileBuffer::overflow(int_type next) {
    if (sync() != 0) {
        return traits_type::eof();
    }
    if (!traits_type::eq_int_type(next, traits_type::eof())) {
        sputc(traits_type::to_char_type(next));
    }
    return traits_type::not_eof(next);
}

int FileReplacement::FileBuffer::sync() {
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
    const fs::path resolved = FollowLinks(path);
    if (resolved.empty()) {
        Fail(ELOOP);
    }
    target = resolved.string();
    folder = resolved.has_parent_path() ? resolved.parent_path().string() : ".";
    CheckTarget();
    RemoveStaleFiles(folder);
    CreateTemporary();
}

FileReplacement::~FileReplacement() {
    if (!temporary.empty()) {
        unlink(temporary.c_str());
    }
    if (buffer.descriptor >= 0) {
        close(buffer.descriptor);
    }
}

void FileReplacement::CheckTarget() {
    if (stat(target.c_str(), &oldStatus) != 0) {
        return;
    }
    if (S_ISDIR(oldStatus.st_mode)) {
        Fail(EISDIR);
    }
    if (!S_ISREG(oldStatus.st_mode)) {
        throw CommandError("cannot write " + name + ": not a regular file");
    }
    replaces = true;
}

void FileReplacement::CreateTemporary() {
    for (int attempt = 0; temporary.empty(); ++attempt) {
        const std::string path = folder + "/" + std::string(temporaryPrefix) +
                                 std::to_string(getpid()) + "-" + std::to_string(attempt) +
                                 std::string(temporarySuffix);
        buffer.descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (buffer.descriptor < 0) {
            if (errno != EEXIST) {
                Fail(errno);
            }
        } else if (!IsLockedByOther(buffer.descriptor) && IsOwnFile(buffer.descriptor)) {
            temporary = path;
        } else {
            // Before it was locked, another process removed it as stale.
            close(buffer.descriptor);
        }
    }
}

// Gives the temporary file owner, group and permissions of the old file; a new one gets the
// permissions of any new file.
void FileReplacement::CopyPermissions() {
    mode_t mode = 0;
    if (replaces) {
        mode = oldStatus.st_mode & 0777U;
        if (fchown(buffer.descriptor, oldStatus.st_uid, oldStatus.st_gid) != 0 &&
            fchown(buffer.descriptor, static_cast<uid_t>(-1), oldStatus.st_gid) != 0) {
            // Another group gets no more than everybody.
            mode &= 0707U | ((mode & 07U) << 3U);
        }
    } else {
        const mode_t mask = umask(0);
        umask(mask);
        mode = 0666U & ~mask;
    }
    if (fchmod(buffer.descriptor, mode) != 0) {
        Fail(errno);
    }
}

void FileReplacement::Commit() {
    if (!stream.flush()) {
        Fail(buffer.error != 0 ? buffer.error : EIO);
    }
    CopyPermissions();
    if (!SyncToDisk(buffer.descriptor)) {
        Fail(errno);
    }
    Rename();
}

void FileReplacement::Rename() {
    if (rename(temporary.c_str(), target.c_str()) != 0) {
        Fail(errno);
    }
    temporary.clear();
    // Makes the new name durable. The content is safe, so a failure is not reported.
    const int directory = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory >= 0) {
        static_cast<void>(fsync(directory));
        close(directory);
    }
}

void FileReplacement::Fail(int error) const {
    throw CommandError("cannot write " + name + ": " + std::strerror(error));
}

}  // namespace velmora::tool
