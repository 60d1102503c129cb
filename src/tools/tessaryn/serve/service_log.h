// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace velmora::tool {

/// Levels of the journal.
enum class LogLevel : unsigned char { error = 3, warning = 4, notice = 5, info = 6 };

/// Writes the lines of a service to standard error, each in one piece.
///
/// Where the journal reads them, a line begins with its level, as in "<4>", elsewhere with
/// "tessaryn: " and, for warnings and errors, that word. What a terminal would act upon is escaped.
/// A service does not wait for who reads its log: lines that find no room are lost and counted, and
/// of a line of more than 4096 bytes the beginning is written.
///
/// \threadsafety guarded
class ServiceLog {
  public:
    using Clock = std::chrono::steady_clock;

    ServiceLog();
    explicit ServiceLog(bool hasJournal) : hasJournal(hasJournal) {}
    ServiceLog(const ServiceLog&) = delete;
    ServiceLog& operator=(const ServiceLog&) = delete;

    void Write(LogLevel level, std::string_view message);

    /// Writes a line unless there was one of the same topic in the ten seconds before: then the
    /// line is counted, and what comes last follows with the count when the time is over.
    /// \param topic such as the name of a source; one of a bounded number
    void WriteLimited(LogLevel level, const std::string& topic, const std::string& message);
    /// Forgets what was held back of a topic: it is over.
    /// \return whether there was something of the topic
    bool Forget(const std::string& topic);
    /// Writes what was held back and is due.
    /// \param all whether the rest, too
    void Flush(bool all = false);

  private:
    struct Topic {
        Clock::time_point due;
        LogLevel level = LogLevel::info;
        std::string message;
        std::uint64_t held = 0;
    };

    std::string Format(LogLevel level, std::string_view message) const;
    void WriteHeld(Topic& topic);

    bool hasJournal;
    std::mutex writeMutex;
    std::uint64_t lost = 0;  ///< guarded by `writeMutex`
    std::mutex mutex;
    // Guarded by the mutex.
    std::map<std::string, Topic> topics;
};

}  // namespace velmora::tool
