// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/feed_factory.h"

#include "command_error.h"
#include "remote/nats_address.h"
#include "remote/nats_settings.h"
#include "remote/nats_source.h"
#include "serve/nats_feed.h"
#include "serve/replay_feed.h"
#include "serve/socket_feed.h"
#include "serve/table_feed.h"
#include "text/escaped_text.h"
#include "text/nearest.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace velmora::tool {

namespace {

// A kind of source, selected by the "scheme:" of `from`.
struct FeedKind {
    std::string_view scheme;
    // Describes the mistake behind the scheme; empty if there is none.
    std::string (*describeBad)(const SourceConfig& source, const std::string& rest);
    std::unique_ptr<Feed> (*make)(const FeedContext& context, const std::string& rest);
};

std::string DescribeBadSocket(const SourceConfig& source, const std::string& rest) {
    if (source.replay) {
        return "a socket cannot be replayed";
    }
    return rest.empty() ? "socket: needs the name that FileDescriptorName= gives" : "";
}

std::unique_ptr<Feed> MakeSocketFeed(const FeedContext& context, const std::string& rest) {
    return std::make_unique<SocketFeed>(context, rest);
}

std::string DescribeBadServer(const SourceConfig& source, const std::string& /*rest*/) {
    if (!HasNats()) {
        return "this program was built without NATS";
    }
    if (source.replay) {
        return "a NATS server cannot be replayed";
    }
    try {
        ParseNatsAddress(source.from);
        CheckNatsSettings(source.nats);
    } catch (const CommandError& error) {
        return error.what();
    }
    return "";
}

std::unique_ptr<Feed> MakeServerFeed(const FeedContext& context, const std::string& /*rest*/) {
    return MakeNatsFeed(context);
}

constexpr std::array kinds = {FeedKind{"socket", &DescribeBadSocket, &MakeSocketFeed},
                              FeedKind{"nats", &DescribeBadServer, &MakeServerFeed},
                              FeedKind{"tls", &DescribeBadServer, &MakeServerFeed}};

// "socket" of "socket:plant"; empty for a path.
std::string_view GetScheme(const std::string& from) {
    const std::size_t colon = from.find(':');
    const std::string_view scheme = std::string_view(from).substr(0, colon);
    const bool isScheme = colon != std::string::npos && !scheme.empty() &&
                          std::all_of(scheme.begin(), scheme.end(), Poco::Ascii::isLower);
    return isScheme ? scheme : std::string_view();
}

const FeedKind* FindKind(const std::string& from) {
    const std::string_view scheme = GetScheme(from);
    const auto* const kind = std::find_if(
        kinds.begin(), kinds.end(), [&](const FeedKind& each) { return each.scheme == scheme; });
    return kind == kinds.end() ? nullptr : kind;
}

}  // namespace

std::string DescribeBadSource(const SourceConfig& source) {
    const std::string_view scheme = GetScheme(source.from);
    if (scheme.empty()) {
        const bool isFile = source.from != "host" && source.from != "-";
        return source.replay && !isFile ? Quoted(source.from) + " cannot be replayed" : "";
    }
    if (const FeedKind* const kind = FindKind(source.from)) {
        return kind->describeBad(source, source.from.substr(scheme.size() + 1));
    }
    std::vector<std::string> known;
    known.reserve(kinds.size());
    for (const FeedKind& kind : kinds) {
        known.emplace_back(kind.scheme);
    }
    return "there is no kind of source " + Quoted(scheme) +
           SuggestNearest(std::string(scheme), known);
}

std::unique_ptr<Feed> MakeFeed(const FeedContext& context) {
    const std::string& from = context.config.from;
    if (const FeedKind* const kind = FindKind(from)) {
        return kind->make(context, from.substr(kind->scheme.size() + 1));
    }
    if (context.config.replay) {
        return std::make_unique<ReplayFeed>(context);
    }
    return std::make_unique<TableFeed>(context);
}

}  // namespace velmora::tool
