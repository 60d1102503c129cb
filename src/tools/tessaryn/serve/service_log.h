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

/// The journal's log levels.
enum class LogLevel : unsigned char { error = 3, warning = 4, notice = 5, info = 6 };

/// Writes the lines of a service to standard error, each with a single write.
///
/// For the journal, a line begins with its level, as in "<4>"; otherwise with "tessaryn: " and, for
/// warnings and errors, that word. Control characters are escaped. The service does not wait for
/// the reader of its log: lines that do not fit are dropped and counted, and lines are cut to 4096
/// bytes.
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

    /// Writes a line unless one of the same topic was written in the last ten seconds. Such lines
    /// are counted, and the last one is written with the count when the time is over.
    /// \param topic such as the name of a source; the number of topics must be bounded
    void WriteLimited(LogLevel level, const std::string& topic, const std::string& message);
    /// Forgets the lines held back of a topic, since its cause is over.
    /// \return whether the topic was known
    bool Forget(const std::string& topic);
    /// Writes the lines held back that are due.
    /// \param all whether to write the others as well
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
