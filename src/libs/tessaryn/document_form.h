// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializer_fwd.h"
#include "tessaryn/document_exception.h"
#include "tessaryn/document_limits.h"
#include "tessaryn/export.h"
#include "tessaryn/sample.h"

#include <memory>

/// \file
/// Lossless nodes. The objects' own `Serialize` and constructors round numbers, give samples
/// from before 1970 or with a `String` the time of reading, read an empty entry with one element,
/// forget initial sizes and, once a ring has wrapped, make another sample the newest. The form is
/// the same: each side can read the other's documents.

namespace velmora::core::tessaryn {

class Stream;
class StreamRepository;
class StreamTypeRepository;

/// \name Reading All of these throw `DocumentException` for any mistake in the document, and when
/// it exceeds the limit. Elements that are not numbers become what `SetFromString` makes of them.
/// Cost: linear in the node's text and the samples' memory.
///@{

/// Reads a sample. Its time is that of the node, whatever its entries, and the time of reading
/// where the node has none; entries have the elements that the node gives, or their initial size
/// where it does not name them.
/// \param type \ownership observes: must outlive the sample
/// \throws DocumentException
TESSARYN_API Sample ReadSample(StreamType& type, const serialization::INode& node,
                               const DocumentLimits& limits = {});

/// Reads a stream with its samples, as `ReadSample` does.
/// \param types where the type is looked up, by path, else by full name; must outlive the stream
/// \throws DocumentException
TESSARYN_API std::unique_ptr<Stream> ReadStream(const StreamTypeRepository& types,
                                                const serialization::INode& node,
                                                const DocumentLimits& limits = {});

/// Reads a repository of types. A name that is there twice keeps its first collection; groups of
/// one name are merged.
/// \throws DocumentException
TESSARYN_API std::unique_ptr<StreamTypeRepository> ReadStreamTypes(
    const serialization::INode& node);

/// Reads a repository of streams, as `ReadStream` and `ReadStreamTypes` do.
/// \param types must outlive the repository
/// \throws DocumentException
TESSARYN_API std::unique_ptr<StreamRepository> ReadStreams(const StreamTypeRepository& types,
                                                           const serialization::INode& node,
                                                           const DocumentLimits& limits = {});
///@}

/// \name Writing
/// Each adds children to an existing node made by the caller. `Float` and `Double` are written with
/// as many digits as give the same number again, samples in the order of pushing, and initial sizes
/// of entries where they are not 1.
///@{

/// Writes a sample.
TESSARYN_API void WriteSample(const Sample& sample, serialization::INode& node);
/// Writes a stream, under its lock.
TESSARYN_API void WriteStream(const Stream& stream, serialization::INode& node);
/// Writes a repository of types, under its groups' locks.
TESSARYN_API void WriteStreamTypes(const StreamTypeRepository& types, serialization::INode& node);
/// Writes a repository of streams, under its groups' locks.
TESSARYN_API void WriteStreams(const StreamRepository& streams, serialization::INode& node);
///@}

}  // namespace velmora::core::tessaryn
