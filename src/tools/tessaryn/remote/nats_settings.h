// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace velmora::tool {

/// How to connect to NATS servers, and what to read from them.
struct NatsSettings {
    /// The JetStream stream that keeps the samples.
    std::string jetStream = "velmora";
    // Files; empty for none.
    std::string credentials;
    std::string authority;
    std::string certificate;
    std::string key;

    /// Where reading starts: "newest", "all", "now", or the time below.
    std::string start = "newest";
    /// Microseconds since the Unix epoch.
    std::int64_t startTime = 0;
    /// A name under which the server remembers what was read; empty for none.
    std::string durable;
};

/// Sets where reading starts.
/// \throws CommandError when the text is neither one of the words nor a time
void SetNatsStart(NatsSettings& settings, const std::string& text);

/// Refuses invalid settings: files that cannot be read, a key without its certificate, and invalid
/// names of JetStream streams and consumers.
/// \throws CommandError
void CheckNatsSettings(const NatsSettings& settings);

}  // namespace velmora::tool
