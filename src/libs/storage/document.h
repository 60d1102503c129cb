// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/read_limits.h"
#include "storage/export.h"
#include "tessaryn/document.h"
#include "tessaryn/document_form.h"

#include <string>

/// \file
/// Types and streams as files, XML or JSON by the ending of the path. A host that continues
/// with its data after each restart:
///
///     Document document = OpenDocument("plant.json");
///     Stream& line = OpenStream(document, "plant/line1", layout, 1000);
///     line.PushNew([](Sample& sample) { sample.Set(0, 0, 7.5); });
///     SaveDocument("plant.json", document);

namespace velmora::core::tessaryn {
class Stream;
class StreamType;
}  // namespace velmora::core::tessaryn

namespace velmora::storage {

/// A document without streams whose only type is "Any". Its paths are split at "/".
STORAGE_API core::tessaryn::Document NewDocument();

/// Reads the types and streams of a file.
/// \param limits of the file and its nodes
/// \param sampleLimits of the samples
/// \throws StorageException when there is no such file, or it cannot be read, exceeds a limit, or
/// holds neither types nor streams; the message names file, place and reason
STORAGE_API core::tessaryn::Document LoadDocument(
    const std::string& path, const core::serialization::ReadLimits& limits = {},
    const core::tessaryn::DocumentLimits& sampleLimits = {});

/// As `LoadDocument`, and `NewDocument` where there is no file.
STORAGE_API core::tessaryn::Document OpenDocument(
    const std::string& path, const core::serialization::ReadLimits& limits = {},
    const core::tessaryn::DocumentLimits& sampleLimits = {});

/// Opens a stream; if there is none of the path, adds it, with a type of the same path.
///
/// A new stream gets the newest version of that type if its entries and initial sizes are those of
/// the layout, else a new version. A stream with other initial sizes or another maximum size is
/// replaced by one with the requested sizes and the newest of its samples, but without its
/// subscriptions.
/// \param path of the stream and its type, such as "plant/line1"
/// \param layout gives entries and initial sizes
/// \param maxSize samples to keep
/// \return \ownership lends: until the stream is removed, or opened with other sizes
/// \throws std::invalid_argument when the stream has other entries, a name in the path is empty or
/// reserved, the size is not 1 to 2^31-1, or the types of two streams would have one full name, as
/// those of "plant/line1" and "plant.line1" would; no stream is changed
STORAGE_API core::tessaryn::Stream& OpenStream(core::tessaryn::Document& document,
                                               const std::string& path,
                                               const core::tessaryn::StreamType& layout,
                                               long maxSize);

/// Replaces a file by these types and streams in one step, as `FileReplacement` does.
///
/// `LoadDocument` restores everything: initial sizes, times, digits, infinities, the order of
/// pushing and the separators. Each stream is locked while it is written, so other threads may
/// push; they must not add or remove types and streams.
/// \throws StorageException when a stream's type would not be found again by its full name and
/// version, or the file cannot be written; the old file stays
STORAGE_API void SaveDocument(const std::string& path,
                              const core::tessaryn::StreamTypeRepository& types,
                              const core::tessaryn::StreamRepository& streams);
/// As above.
STORAGE_API void SaveDocument(const std::string& path, const core::tessaryn::Document& document);

}  // namespace velmora::storage
