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
    /// Neither types nor streams; the separator is "/".
    Document();

    /// Reads a document. Times before 1970, NaN and infinities are kept.
    /// \throws CommandError that names file, node and reason
    explicit Document(const std::string& file);

    /// Finds or adds a stream. A new one has the newest type of that path if its entries are those
    /// of the layout, else a new version of that type.
    /// \param layout the entries of the samples
    /// \param maxSize samples to keep; absent to keep the size of a stream that exists
    /// \param defaultSize samples to keep in a new stream otherwise
    /// \return valid until the next call of this or of `ToTree`
    /// \throws CommandError when the path cannot be written to a document, or the stream has other
    /// entries
    /// \throws std::invalid_argument when the size is not 1 to 2^31-1
    core::tessaryn::Stream& OpenStream(const std::string& path,
                                       const core::tessaryn::StreamType& layout,
                                       std::optional<long> maxSize, long defaultSize);

    /// The document's tree, with samples in the order of their pushes. Replaces streams that are in
    /// another order.
    core::serialization::NodeTree ToTree();

    core::tessaryn::StreamTypeRepository& GetTypes() const { return *types; }
    core::tessaryn::StreamRepository& GetStreams() const { return *streams; }
    /// Separator in paths of types.
    char GetTypeSeparator() const { return typeSeparator; }
    /// Separator in paths of streams.
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

/// The samples in the order of their pushes.
/// \param samples all samples of the stream, in storage order
std::vector<core::tessaryn::Sample*> InPushOrder(
    const core::tessaryn::Stream& stream, const std::vector<core::tessaryn::Sample*>& samples);

}  // namespace velmora::tool
