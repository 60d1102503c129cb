// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/feed.h"

#include <memory>
#include <string>

namespace velmora::tool {

/// What is wrong with a source's `from`; empty for nothing. The source need not be there yet.
std::string DescribeBadSource(const SourceConfig& source);

/// Makes the feed of a source: its kind is the scheme of `from`, that of a file unless there is
/// one.
/// \pre there is nothing wrong with it
/// \throws CommandError when it lacks what the service was to be given
std::unique_ptr<Feed> MakeFeed(const FeedContext& context);

}  // namespace velmora::tool
