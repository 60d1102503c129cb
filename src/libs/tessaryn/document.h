// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/read_limits.h"
#include "tessaryn/document_form.h"
#include "tessaryn/export.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <iosfwd>
#include <memory>

/// \file
/// Types and streams as one document, from and to a stream of bytes. The document is a tree with
/// the children "StreamTypeRepository" and "StreamRepository", in the form of `document_form.h`:
/// nothing is lost. No file is opened.

namespace velmora::core::tessaryn {

/// The types and the streams of a document.
///
/// \threadsafety external
struct TESSARYN_API Document {
    Document();
    Document(std::unique_ptr<StreamTypeRepository> types,
             std::unique_ptr<StreamRepository> streams);
    Document(Document&& other) noexcept;
    /// Destroys the streams that there were before their types.
    Document& operator=(Document&& other) noexcept;
    ~Document();

    std::unique_ptr<StreamTypeRepository> types;
    /// Destroyed before the types that they use.
    std::unique_ptr<StreamRepository> streams;
};

/// \name Writing documents
/// The locks are those of `WriteStreamTypes` and `WriteStreams`. A call that fails leaves a part of
/// the document in the output.
/// \throws serialization::SerializationException when the output fails, or the groups are nested
///     too deeply for a document
///@{
/// Writes types and streams as XML.
TESSARYN_API void WriteXmlDocument(const StreamTypeRepository& types,
                                   const StreamRepository& streams, std::ostream& out);
/// Writes types and streams as JSON.
TESSARYN_API void WriteJsonDocument(const StreamTypeRepository& types,
                                    const StreamRepository& streams, std::ostream& out);
///@}

/// \name Reading documents
/// The rest of the input must be one document. A repository that it does not have is empty; one of
/// the two must be there.
/// \param limits of the document's text and tree; `maxMemory` counts the nodes that are needed at
///     the same time
/// \param sampleLimits of the samples
/// \throws serialization::SerializationException when the input fails, is malformed or exceeds
///     `limits`; the message gives line and column
/// \throws DocumentException for any other mistake in the document, and when it exceeds
/// `sampleLimits`
///@{
/// Reads types and streams from XML.
TESSARYN_API Document ReadXmlDocument(std::istream& in,
                                      const serialization::ReadLimits& limits = {},
                                      const DocumentLimits& sampleLimits = {});
/// Reads types and streams from JSON.
TESSARYN_API Document ReadJsonDocument(std::istream& in,
                                       const serialization::ReadLimits& limits = {},
                                       const DocumentLimits& sampleLimits = {});
///@}

}  // namespace velmora::core::tessaryn
