// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/document.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace velmora::tool {

/// The default of --max-memory: 1 GiB.
inline constexpr std::uint64_t defaultMaxMemory = std::uint64_t{1} << 30U;

/// Adds --max-memory to a command that reads a document.
/// \param maxMemory \ownership observes: bytes, set when the command line is parsed
inline void AddMemoryOption(CLI::App& command, std::uint64_t& maxMemory) {
    command
        .add_option(
            "--max-memory", maxMemory,
            "Memory for the nodes of a document, and again for its samples, such as 500MB or 2GiB; "
            "1GiB unless given")
        ->transform(CLI::AsSizeValue(false).description(""))
        ->type_name("SIZE");
}

/// Reads a document within a limit of memory.
/// \throws storage::StorageException
inline core::tessaryn::Document LoadWithin(std::uint64_t maxMemory, const std::string& path) {
    core::serialization::ReadLimits limits;
    limits.maxMemory = maxMemory;
    return storage::LoadDocument(path, limits, {maxMemory});
}

}  // namespace velmora::tool
