// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/progress_bar.h"

#include "terminal/message.h"
#include "text/time_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace velmora::tool {

std::string DescribeProgress(std::uint64_t bytesRead, std::uint64_t size, std::uint64_t samples,
                             double seconds) {
    std::string text;
    double left = 0;
    if (size > 0) {
        constexpr std::size_t width = 40;
        // A file may grow while it is read.
        const double share =
            std::min(1.0, static_cast<double>(bytesRead) / static_cast<double>(size));
        const auto filled = static_cast<std::size_t>(share * width);
        const auto percent = static_cast<int>(share * 100);
        text = '[' + std::string(filled, '#') + std::string(width - filled, '.') + "] " +
               std::string(percent < 10    ? 2
                           : percent < 100 ? 1
                                           : 0,
                           ' ') +
               std::to_string(percent) + " %  ";
        left = share > 0 ? seconds * (1 - share) / share : 0;
    }
    text += Counted(samples, "sample");
    if (seconds > 0) {
        const double rate = static_cast<double>(samples) / seconds;
        text += ", " + std::to_string(std::llround(rate)) + " a second";
    }
    if (left > 0) {
        const std::int64_t wholeSeconds = std::llround(std::ceil(left));
        text += ", " + FormatDuration(wholeSeconds * 1'000'000) + " left";
    }
    return text;
}

void ProgressBar::Draw(std::uint64_t bytesRead, std::uint64_t size, std::uint64_t samples) {
    if (!enabled) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (bytesRead < lastRead) {
        // Another file.
        begin = now;
        samplesBefore = samples;
    }
    lastRead = bytesRead;
    if (now < due) {
        return;
    }
    const double seconds = std::chrono::duration<double>(now - begin).count();
    std::fprintf(stderr, "\r%s\x1b[K",
                 DescribeProgress(bytesRead, size, samples - samplesBefore, seconds).c_str());
    std::fflush(stderr);
    drawn = true;
    due = now + std::chrono::milliseconds(100);
}

void ProgressBar::Clear() {
    if (drawn) {
        std::fputs("\r\x1b[K", stderr);
    }
    drawn = false;
}

}  // namespace velmora::tool
