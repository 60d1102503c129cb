// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <span>
#include <string_view>

namespace velmora::inspector {

/// A file of the page.
///
/// \threadsafety immutable
struct PageFile {
    std::string_view path;  ///< of its address, such as "/page.css"
    std::string_view text;
};

/// The page's files, embedded when the library was built.
extern const std::span<const PageFile> pageFiles;

}  // namespace velmora::inspector
