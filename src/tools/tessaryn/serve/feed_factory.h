// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/feed.h"

#include <memory>
#include <string>

namespace velmora::tool {

/// Describes the mistake in a source's `from`; empty if there is none. The source need not exist
/// yet.
std::string DescribeBadSource(const SourceConfig& source);

/// Makes the feed of a source. The scheme of `from` selects its kind; without a scheme it is a
/// file.
/// \pre `DescribeBadSource` finds no mistake
/// \throws CommandError when the service manager has not passed the descriptor that it needs
std::unique_ptr<Feed> MakeFeed(const FeedContext& context);

}  // namespace velmora::tool
