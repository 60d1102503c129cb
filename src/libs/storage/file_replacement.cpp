// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/file_replacement.h"

#include "storage/storage_exception.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <limits>
#include <streambuf>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace velmora::storage {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t blockSize = 64UL * 1024;
constexpr int maxLinks = 40;
constexpr std::string_view temporaryPrefix = ".tessaryn-";
constexpr std::string_view temporarySuffix = ".tmp";

// The path that symbolic links lead to, whether or not the file exists; empty for too many links.
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

// Removes the temporary files of ended processes, which are no longer locked.
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

// The mask for new files, read from /proc: umask() would have to change it for a moment, for all
// threads. 0077 if /proc is not available.
mode_t GetFileMask() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        mode_t mask = 0;
        if (word == "Umask:" && status >> std::oct >> mask) {
            return mask;
        }
        status.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return 0077;
}

// Blocks signals for the thread as long as it lives. Writing beyond the size limit of the process
// is then an error, and the signal about it is discarded.
class SignalBlocker {
  public:
    SignalBlocker() : previous() {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGXFSZ}) {
            sigaddset(&blocked, signal);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &previous);
    }
    SignalBlocker(const SignalBlocker&) = delete;
    SignalBlocker& operator=(const SignalBlocker&) = delete;
    ~SignalBlocker() {
        if (sigismember(&previous, SIGXFSZ) == 0) {
            sigset_t sizeLimit;
            sigemptyset(&sizeLimit);
            sigaddset(&sizeLimit, SIGXFSZ);
            const timespec now{};
            sigtimedwait(&sizeLimit, nullptr, &now);
        }
        pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    }

  private:
    sigset_t previous;
};

// Writes to a descriptor in blocks and keeps the first error.
class FileBuffer : public std::streambuf {
  public:
    FileBuffer() : bytes(blockSize) { setp(bytes.data(), bytes.data() + bytes.size()); }

    int descriptor = -1;
    int error = 0;

  protected:
    int_type overflow(int_type next) override {
        if (sync() != 0) {
            return traits_type::eof();
        }
        if (!traits_type::eq_int_type(next, traits_type::eof())) {
            sputc(traits_type::to_char_type(next));
        }
        return traits_type::not_eof(next);
    }

    int sync() override {
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

  private:
    std::vector<char> bytes;
};

}  // namespace

class FileReplacement::Implementation {
  public:
    explicit Implementation(const std::string& path);
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;
    ~Implementation();

    std::ostream& GetStream() { return stream; }
    void Commit();

  private:
    void CheckTarget();
    void CreateTemporary();
    void CopyPermissions();
    void Rename();
    void SyncFolder() const;
    [[noreturn]] void Fail(int error) const;

    SignalBlocker signals;
    // The path as the caller wrote it, for messages.
    std::string name;
    std::string target;
    std::string folder;
    std::string temporary;
    bool replaces = false;
    struct stat oldStatus {};
    FileBuffer buffer;
    std::ostream stream{&buffer};
};

FileReplacement::Implementation::Implementation(const std::string& path) : name(path) {
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

FileReplacement::Implementation::~Implementation() {
    if (!temporary.empty()) {
        unlink(temporary.c_str());
    }
    if (buffer.descriptor >= 0) {
        close(buffer.descriptor);
    }
}

void FileReplacement::Implementation::CheckTarget() {
    if (stat(target.c_str(), &oldStatus) != 0) {
        return;
    }
    if (S_ISDIR(oldStatus.st_mode)) {
        Fail(EISDIR);
    }
    if (!S_ISREG(oldStatus.st_mode)) {
        throw StorageException(name, "cannot write " + name + ": not a regular file");
    }
    replaces = true;
}

void FileReplacement::Implementation::CreateTemporary() {
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
            // Another process removed the file as stale before it was locked.
            close(buffer.descriptor);
        }
    }
}

// Gives the temporary file owner, group and permissions of the old file; a new one gets the
// permissions of any new file.
void FileReplacement::Implementation::CopyPermissions() {
    mode_t mode = 0;
    if (replaces) {
        mode = oldStatus.st_mode & 0777U;
        if (fchown(buffer.descriptor, oldStatus.st_uid, oldStatus.st_gid) != 0 &&
            fchown(buffer.descriptor, static_cast<uid_t>(-1), oldStatus.st_gid) != 0) {
            // The group may be another one, so it gets no more rights than everybody.
            mode &= 0707U | ((mode & 07U) << 3U);
        }
    } else {
        mode = 0666U & ~GetFileMask();
    }
    if (fchmod(buffer.descriptor, mode) != 0) {
        Fail(errno);
    }
}

void FileReplacement::Implementation::Commit() {
    if (!stream.flush()) {
        Fail(buffer.error != 0 ? buffer.error : EIO);
    }
    CopyPermissions();
    if (!SyncToDisk(buffer.descriptor)) {
        Fail(errno);
    }
    Rename();
}

void FileReplacement::Implementation::Rename() {
    if (rename(temporary.c_str(), target.c_str()) != 0) {
        Fail(errno);
    }
    temporary.clear();
    SyncFolder();
}

// Makes the new name durable. A folder without read permission cannot be synced.
void FileReplacement::Implementation::SyncFolder() const {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    const int error = SyncToDisk(descriptor) ? 0 : errno;
    close(descriptor);
    if (error != 0) {
        throw StorageException(
            name, "replaced " + name + ", but cannot sync its folder: " + std::strerror(error));
    }
}

void FileReplacement::Implementation::Fail(int error) const {
    throw StorageException(name, "cannot write " + name + ": " + std::strerror(error));
}

FileReplacement::FileReplacement(const std::string& path)
    : implementation(std::make_unique<Implementation>(path)) {}

FileReplacement::~FileReplacement() = default;

std::ostream& FileReplacement::GetStream() {
    return implementation->GetStream();
}

void FileReplacement::Commit() {
    implementation->Commit();
}

}  // namespace velmora::storage
