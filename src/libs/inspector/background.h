// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <pthread.h>
#include <sched.h>

namespace velmora::inspector {

/// Gives the calling thread a scheduling policy under which it does not preempt a running thread
/// when it wakes up, so that threads which push come first. Their share of the processor stays as
/// it was. Needs no privilege.
inline void RunInBackground() {
    const sched_param none{};
    ::pthread_setschedparam(::pthread_self(), SCHED_BATCH, &none);
}

}  // namespace velmora::inspector
