// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Replaces the functions for NATS in a program that was built without it.

#include "command_error.h"
#include "commands/publish_session.h"
#include "remote/nats_source.h"
#include "serve/nats_feed.h"

namespace velmora::tool {

namespace {

[[noreturn]] void Refuse() {
    throw CommandError("this program was built without NATS");
}

}  // namespace

bool HasNats() {
    return false;
}

std::unique_ptr<SampleSource> OpenNatsSource(const std::string& /*url*/,
                                             const NatsSettings& /*settings*/,
                                             SignalWatcher& /*signals*/) {
    Refuse();
}

PublishReport PublishSources(const PublishOptions& /*options*/) {
    Refuse();
}

std::unique_ptr<Feed> MakeNatsFeed(const FeedContext& /*context*/) {
    Refuse();
}

}  // namespace velmora::tool
