// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/progress_bar.h"

#include "terminal/message.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace velmora::tool {

void ProgressBar::Update(std::uint64_t bytesRead, std::uint64_t size, std::uint64_t samples) {
    if (!enabled || size == 0 || SignalWatcher::Clock::now() < due) {
        return;
    }
    constexpr std::size_t width = 40;
    // A file may grow while it is read.
    const double share = std::min(1.0, static_cast<double>(bytesRead) / static_cast<double>(size));
    const auto filled = static_cast<std::size_t>(share * width);
    const std::string bar = std::string(filled, '#') + std::string(width - filled, '.');
    std::fprintf(stderr, "\r[%s] %3d %%  %s\x1b[K", bar.c_str(), static_cast<int>(share * 100),
                 Counted(samples, "sample").c_str());
    std::fflush(stderr);
    drawn = true;
    due = SignalWatcher::Clock::now() + std::chrono::milliseconds(100);
}

void ProgressBar::Clear() {
    if (drawn) {
        std::fputs("\r\x1b[K", stderr);
    }
    drawn = false;
}

}  // namespace velmora::tool
