// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/Thread.h>

#include <utility>

namespace velmora::core::tessaryn {

/// Knows whether more than two threads push into a stream by turns. Guarded by its mutex.
///
/// Two threads wait for each other least when a push allocates nothing, more of them when the time
/// under the lock is short, so that some find it free.
class PushingThreads {
  public:
    /// Notes a push of a thread. \returns whether a third one has pushed of late
    bool AreManyWith(Poco::Thread::TID pusher) {
        if (pusher != latest) {
            constexpr int memory = 1'000;
            constexpr Poco::Thread::TID nobody{};
            pushesOfMany = pusher == previous || previous == nobody ? pushesOfMany : memory;
            previous = std::exchange(latest, pusher);
        }
        return pushesOfMany > 0 && --pushesOfMany > 0;
    }

  private:
    Poco::Thread::TID latest{};
    Poco::Thread::TID previous{};
    int pushesOfMany = 0;
};

}  // namespace velmora::core::tessaryn
