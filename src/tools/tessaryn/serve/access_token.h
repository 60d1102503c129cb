// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>

namespace velmora::tool {

/// Reads the token that the page asks for: the first line of a file.
/// \throws CommandError when it cannot be read, others than its owner and group may read it, or the
/// token is shorter than 16 characters or has others than printable ASCII
std::string ReadTokenFile(const std::string& path);

/// The file of a credential that systemd hands over.
/// \throws CommandError when there is none of the name
std::string FindCredential(const std::string& name);

}  // namespace velmora::tool
