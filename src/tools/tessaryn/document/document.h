// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_tree.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_repository.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace velmora::tool {

/// All types and streams of one document: its children "StreamTypeRepository" and
/// "StreamRepository".
class Document {
  public:
    /// Neither types nor streams; the separator is "/".
    Document();

    /// Reads a document.
    /// \param maxMemory bytes that its nodes may take, and its samples again
    /// \throws CommandError that names file, node and reason
    Document(const std::string& file, std::uint64_t maxMemory);

    /// Finds or adds a stream. A new one has the newest type of that path if its entries are those
    /// of the layout, else a new version of that type.
    /// \param layout the entries of the samples
    /// \param maxSize samples to keep; absent to keep the size of a stream that exists
    /// \param defaultSize samples to keep in a new stream otherwise
    /// \return valid until the next call
    /// \throws CommandError when the path cannot be written to a document, or the stream has other
    /// entries
    /// \throws std::invalid_argument when the size is not 1 to 2^31-1
    core::tessaryn::Stream& OpenStream(const std::string& path,
                                       const core::tessaryn::StreamType& layout,
                                       std::optional<long> maxSize, long defaultSize);

    /// The document's tree.
    core::serialization::NodeTree ToTree() const;

    core::tessaryn::StreamTypeRepository& GetTypes() const { return *types; }
    core::tessaryn::StreamRepository& GetStreams() const { return *streams; }
    /// Separator in paths of types.
    char GetTypeSeparator() const { return types->groupSeparator(); }
    /// Separator in paths of streams.
    char GetStreamSeparator() const { return streams->groupSeparator(); }

  private:
    core::tessaryn::StreamType& OpenType(const std::string& path,
                                         const core::tessaryn::StreamType& layout);
    void CheckPath(const std::string& path) const;
    void CheckTypeNames(const core::tessaryn::StreamGroup& group) const;

    // The types outlive the streams.
    std::unique_ptr<core::tessaryn::StreamTypeRepository> types;
    std::unique_ptr<core::tessaryn::StreamRepository> streams;
};

}  // namespace velmora::tool
