// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>
#include <string_view>

namespace velmora::tool {

/// Writes "tessaryn: ", the prefix and the message as one line on standard error.
///
/// Control characters are escaped, since a message may quote a file's content; a message above
/// 2,000 bytes loses its middle. User and password in URLs of NATS servers are hidden.
void PrintMessage(std::string_view prefix, std::string_view text);

/// A number and a noun, in the plural unless the number is 1: "1 sample", "2 samples".
/// \param plural the noun with an "s" unless given
std::string Counted(unsigned long long number, const std::string& noun,
                    const std::string& plural = {});

}  // namespace velmora::tool
