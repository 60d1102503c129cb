// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/service_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <fcntl.h>
#include <functional>
#include <string>
#include <unistd.h>

namespace velmora::tool {
namespace {

std::string Capture(bool hasJournal, const std::function<void(ServiceLog&)>& write) {
    testing::internal::CaptureStderr();
    ServiceLog log(hasJournal);
    write(log);
    return testing::internal::GetCapturedStderr();
}

TEST(ServiceLog, WritesLevelsAsTheJournalReadsThem) {
    const auto write = [](ServiceLog& log) {
        log.Write(LogLevel::error, "a\nb");
        log.Write(LogLevel::warning, "c");
        log.Write(LogLevel::info, "d");
    };
    EXPECT_EQ(Capture(true, write), "<3>a\\nb\n<4>c\n<6>d\n");
    EXPECT_EQ(Capture(false, write), "tessaryn: error: a\\nb\ntessaryn: warning: c\ntessaryn: d\n");
}

TEST(ServiceLog, CountsWhatItHoldsBack) {
    EXPECT_EQ(Capture(true,
                      [](ServiceLog& log) {
                          for (int i = 0; i < 4; ++i) {
                              log.WriteLimited(LogLevel::warning, "x", "x" + std::to_string(i));
                          }
                          log.WriteLimited(LogLevel::error, "y", "y");
                          log.Flush();
                          log.Flush(true);
                      }),
              "<4>x0\n<3>y\n<4>x3 (the last of 3 such messages)\n");
}

// What is in a pipe, without waiting for more.
std::string Drain(int pipe) {
    std::string text;
    std::string part(65536, '\0');
    for (ssize_t size = 0; (size = ::read(pipe, part.data(), part.size())) > 0;) {
        text.append(part, 0, static_cast<std::size_t>(size));
    }
    return text;
}

TEST(ServiceLog, LosesAndCountsLinesThatNobodyReads) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    ::fcntl(ends[0], F_SETFL, O_NONBLOCK);
    const int before = ::dup(STDERR_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    ServiceLog log(true);
    constexpr int lines = 100;
    for (int i = 0; i < lines; ++i) {
        log.Write(LogLevel::info, std::string(5000, 'a'));
    }
    const std::string read = Drain(ends[0]);
    log.Write(LogLevel::info, "b");
    const std::string after = Drain(ends[0]);
    ::dup2(before, STDERR_FILENO);
    for (const int descriptor : {before, ends[0], ends[1]}) {
        ::close(descriptor);
    }
    const auto kept = std::count(read.begin(), read.end(), '\n');
    EXPECT_GT(kept, 0);
    EXPECT_EQ(read.size(), static_cast<std::size_t>(kept) * PIPE_BUF);
    EXPECT_EQ(after,
              "<4>" + std::to_string(lines - kept) + " lines of the log found no room\n<6>b\n");
}

}  // namespace
}  // namespace velmora::tool
