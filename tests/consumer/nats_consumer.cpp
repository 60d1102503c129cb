// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "velmora/nats/connection.h"
#include "velmora/nats/follower.h"
#include "velmora/nats/publisher.h"
#include "velmora/nats/subject.h"

int main() {
    // No server is there, which nobody has to wait for.
    const velmora::nats::Connection connection("nats://127.0.0.1:1");
    return !connection.IsConnected() &&
                   velmora::nats::ToSubject("plant/line 1", '/') == "plant.line=201"
               ? 0
               : 1;
}
