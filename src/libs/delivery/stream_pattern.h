// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/export.h"

#include <string>
#include <string_view>
#include <vector>

namespace velmora::delivery {

/// A pattern of paths: names joined by the repository's separator, where `*` stands for any one
/// name, and `>` at the end for one or more names: `plant/*/temperature`, `plant/>`.
///
/// \threadsafety immutable
class DELIVERY_API StreamPattern {
  public:
    /// \param pattern not empty
    /// \param separator splits pattern and paths
    /// \throws std::invalid_argument for a pattern with an empty name or with `>` before its end
    StreamPattern(const std::string& pattern, char separator);

    bool Matches(std::string_view path) const;

  private:
    std::vector<std::string> names;
    char separator;
    bool isOpen;
};

}  // namespace velmora::delivery
