// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_tree.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_repository.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// All types and streams of one document: its children "StreamTypeRepository" and
/// "StreamRepository".
class Document {
  public:
    /// No streams; paths are split at "/".
    Document();

    /// Reads a document. Samples get all that it holds: times, whatever entries they have and
    /// however old they are, NaN and infinities.
    /// \param file the document's name
    /// \throws CommandError that names file, node and reason
    explicit Document(const std::string& file);

    /// The stream of a path, for samples of a layout. One that is there continues; a new one is of
    /// the newest type of that path if it has the layout, else of a new version of it.
    /// \param path groups and name
    /// \param layout the entries that the samples will have
    /// \param maxSize samples to keep, if that is to change for a stream that is there
    /// \param defaultSize samples that a new stream keeps otherwise
    /// \return valid until the next call, or that of `ToTree`
    /// \throws CommandError when the path can't be kept, or the stream that is there has other
    /// entries
    /// \throws std::invalid_argument when the size is not 1 to 2^31-1
    core::tessaryn::Stream& OpenStream(const std::string& path,
                                       const core::tessaryn::StreamType& layout,
                                       std::optional<long> maxSize, long defaultSize);

    /// The document. Every stream is left with its samples in the order of pushing, as it will be
    /// read, and without subscriptions.
    core::serialization::NodeTree ToTree();

    core::tessaryn::StreamTypeRepository& GetTypes() const { return *types; }
    core::tessaryn::StreamRepository& GetStreams() const { return *streams; }
    /// What splits paths of types.
    char GetTypeSeparator() const { return typeSeparator; }
    /// What splits paths of streams.
    char GetStreamSeparator() const { return streamSeparator; }

  private:
    core::tessaryn::StreamType& OpenType(const std::string& path,
                                         const core::tessaryn::StreamType& layout);
    void CheckPath(const std::string& path) const;
    void CheckTypeNames(const core::tessaryn::StreamGroup& group) const;

    char typeSeparator;
    char streamSeparator;
    // The types outlive the streams.
    std::unique_ptr<core::tessaryn::StreamTypeRepository> types;
    std::unique_ptr<core::tessaryn::StreamRepository> streams;
};

/// The samples of an answer in the order of pushing.
/// \param stream where they are from
/// \param samples all samples, in storage order
std::vector<core::tessaryn::Sample*> InPushOrder(
    const core::tessaryn::Stream& stream, const std::vector<core::tessaryn::Sample*>& samples);

}  // namespace velmora::tool
