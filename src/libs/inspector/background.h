// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <pthread.h>
#include <sched.h>

namespace velmora::inspector {

/// Has the calling thread take no core from a thread that runs when it wakes up: who pushes comes
/// first, and has no less than before of what cores are shared. It needs no privilege.
inline void RunInBackground() {
    const sched_param none{};
    ::pthread_setschedparam(::pthread_self(), SCHED_BATCH, &none);
}

}  // namespace velmora::inspector
