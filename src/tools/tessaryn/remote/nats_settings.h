// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace velmora::tool {

/// How NATS servers are reached, and what of theirs is read.
struct NatsSettings {
    /// The JetStream stream that keeps the samples.
    std::string jetStream = "velmora";
    // Files; empty for none.
    std::string credentials;
    std::string authority;
    std::string certificate;
    std::string key;

    /// Where reading begins: "newest", "all", "now", or the time below.
    std::string start = "newest";
    /// Microseconds since the Unix epoch.
    std::int64_t startTime = 0;
    /// A name under which the server remembers what was read; empty for none.
    std::string durable;
};

/// Sets where reading begins.
/// \throws CommandError when the text is neither one of the words nor a time
void SetNatsStart(NatsSettings& settings, const std::string& text);

/// Refuses settings that cannot be: files that cannot be read, a key without its certificate, names
/// that no JetStream stream and no consumer has.
/// \throws CommandError
void CheckNatsSettings(const NatsSettings& settings);

}  // namespace velmora::tool
