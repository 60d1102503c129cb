// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/read_limits.h"
#include "tessaryn/document.h"
#include "tessaryn/document_limits.h"
#include "tessaryn/export.h"

#include <iosfwd>

/// \file
/// Types and streams in binary form: small, checked and quick to read. Nothing is lost. The bytes
/// are described in docs/snapshot_format.md. No file is opened.

namespace velmora::core::tessaryn {

/// Writes a snapshot. The locks are those of `WriteStreamTypes` and `WriteStreams`: changes by
/// other threads meanwhile may or may not be included. A call that fails leaves a part in the
/// output.
///
/// Takes memory for about a mebibyte, or for the largest sample.
/// \throws serialization::SerializationException when the output fails, or the groups of types are
///     nested too deeply for a document
TESSARYN_API void WriteSnapshot(const StreamTypeRepository& types, const StreamRepository& streams,
                                std::ostream& out);

/// Reads a snapshot and leaves the input behind it. Memory is allocated only for received bytes.
///
/// \param limits `maxBytes` is that of the snapshot, the others are those of the tree that
///     describes its types
/// \param sampleLimits of the samples
/// \throws DocumentException when the bytes are not a snapshot, were changed or cut off, are of a
///     later version, or exceed `sampleLimits`; its position is that of the block: "byte 4096"
/// \throws serialization::SerializationException when the description of the types is malformed or
///     exceeds `limits`
TESSARYN_API Document ReadSnapshot(std::istream& in, const serialization::ReadLimits& limits = {},
                                   const DocumentLimits& sampleLimits = {});

}  // namespace velmora::core::tessaryn
