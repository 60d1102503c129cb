// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/service_log.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

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

}  // namespace
}  // namespace velmora::tool
