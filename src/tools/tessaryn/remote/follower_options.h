// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/follower_options.h"
#include "remote/nats_settings.h"

#include <string>

namespace velmora::tool {

/// The library's options for the program's.
nats::FollowerOptions MakeFollowerOptions(const NatsSettings& settings);

/// Describes the messages that a follower could not read.
std::string DescribeLosses(const nats::FollowerStatistics& statistics);

}  // namespace velmora::tool
