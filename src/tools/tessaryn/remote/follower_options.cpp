// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "remote/follower_options.h"

#include "terminal/message.h"

namespace velmora::tool {

nats::FollowerOptions MakeFollowerOptions(const NatsSettings& settings) {
    nats::FollowerOptions options;
    options.jetStream = settings.jetStream;
    options.durable = settings.durable;
    if (settings.start == "newest") {
        options.start = nats::Start::newest;
    } else if (settings.start == "all") {
        options.start = nats::Start::all;
    } else if (settings.start == "now") {
        options.start = nats::Start::now;
    } else {
        options.start = nats::Start::time;
        options.time = Poco::Timestamp(settings.startTime);
    }
    return options;
}

std::string DescribeLosses(const nats::FollowerStatistics& statistics) {
    return Counted(statistics.missing, "sample") + " never came, " +
           std::to_string(statistics.unknown) + " of types that nobody described, " +
           std::to_string(statistics.refused) + " refused";
}

}  // namespace velmora::tool
