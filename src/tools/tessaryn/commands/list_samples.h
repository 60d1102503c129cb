// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "transfer/sample_filter.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace velmora::tool {

/// Which samples `tessaryn show` lists, and how.
struct ListOptions {
    FilterOptions filter;
    std::optional<std::size_t> head;
    std::optional<std::size_t> tail;
    std::string zone;

    /// Whether samples are listed at all.
    bool IsAsked() const { return !filter.IsEmpty() || head || tail; }
};

/// Adds the options to a subcommand.
/// \param options \ownership observes: set when the command line is parsed
void AddListOptions(CLI::App& command, ListOptions& options);

/// Prints the samples of a document or a history, a line each.
/// \param file a document or a history
/// \param maxMemory of the document
/// \throws CommandError when the file cannot be read, or an option is bad
void ListSamples(const std::string& file, const ListOptions& options, bool asJson,
                 std::uint64_t maxMemory);

}  // namespace velmora::tool
