// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "source/input_stream.h"
#include "tessaryn/document.h"

#include <cstdint>

namespace velmora::tool {

/// Reads a document from standard input or a compressed file.
/// \param maxMemory bytes that its nodes may take, and as many for its samples
/// \throws CommandError when it is not a document, or takes more
core::tessaryn::Document ReadDocument(InputStream& input, std::uint64_t maxMemory);

}  // namespace velmora::tool
