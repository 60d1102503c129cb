// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/feed.h"

#include <memory>

namespace velmora::tool {

/// Makes a feed that follows the streams of a NATS server.
///
/// If there is a history, samples are committed to it before they are acknowledged to the server.
/// \throws CommandError when the program was built without NATS
std::unique_ptr<Feed> MakeNatsFeed(const FeedContext& context);

}  // namespace velmora::tool
