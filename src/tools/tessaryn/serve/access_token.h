// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>

namespace velmora::tool {

/// Reads the token that protects the page: the first line of a file.
/// \throws CommandError when the file cannot be read, or users other than its owner and group may
/// read it, or the token is shorter than 16 characters or not printable ASCII
std::string ReadTokenFile(const std::string& path);

/// The path of a credential that systemd has passed to the service.
/// \throws CommandError when there is none of the name
std::string FindCredential(const std::string& name);

}  // namespace velmora::tool
