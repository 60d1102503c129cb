// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/progress_bar.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace velmora::tool {

void ProgressBar::Update(std::uint64_t done, std::uint64_t size, std::uint64_t samples) {
    if (!enabled || size == 0 || SignalWatcher::Clock::now() < due) {
        return;
    }
    constexpr std::size_t width = 40;
    // A file may grow while it is read.
    const double share = std::min(1.0, static_cast<double>(done) / static_cast<double>(size));
    const auto filled = static_cast<std::size_t>(share * width);
    const std::string bar = std::string(filled, '#') + std::string(width - filled, '.');
    std::fprintf(stderr, "\r[%s] %3d %%  %llu samples\x1b[K", bar.c_str(),
                 static_cast<int>(share * 100), static_cast<unsigned long long>(samples));
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
