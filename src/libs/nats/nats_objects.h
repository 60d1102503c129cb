// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/nats_exception.h"

#include <memory>
#include <nats/nats.h>
#include <string>

/// \file
/// Owning pointers to objects of the client library.

namespace velmora::nats {

template <auto destroy>
struct Destroyer {
    template <class T>
    void operator()(T* object) const {
        destroy(object);
    }
};

using Options = std::unique_ptr<natsOptions, Destroyer<natsOptions_Destroy>>;
using Context = std::unique_ptr<jsCtx, Destroyer<jsCtx_Destroy>>;
using Message = std::unique_ptr<natsMsg, Destroyer<natsMsg_Destroy>>;
using Subscription = std::unique_ptr<natsSubscription, Destroyer<natsSubscription_Destroy>>;

/// \throws NatsException "cannot <what>: <reason>" unless the status is NATS_OK
inline void Check(natsStatus status, const std::string& what) {
    if (status == NATS_OK) {
        return;
    }
    std::string reason = natsStatus_GetText(status);
    natsStatus last = NATS_OK;
    const char* const detail = nats_GetLastError(&last);
    if (status == NATS_ERR && last == status && detail != nullptr && *detail != '\0') {
        // The text of this status is no more than "Error".
        reason = detail;
    }
    throw NatsException("cannot " + what + ": " + reason);
}

}  // namespace velmora::nats
