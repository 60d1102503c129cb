// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/export.h"
#include "tessaryn/generic_repo.h"
#include "tessaryn/stream_group.h"
#include "tessaryn/stream_type_collection.h"

#include <memory>
#include <string>

namespace Poco {
class Logger;
}

namespace velmora::core::tessaryn {

/// The implementation of a `StreamRepository`, which documents the operations.
///
/// \threadsafety guarded
class TESSARYN_API StreamRepositoryPrivate : public serialization::ISerializable,
                                             public GenericRepo<StreamGroup, Stream> {
  public:
    /// \param logger \ownership observes: must outlive the repository
    StreamRepositoryPrivate(Poco::Logger& logger, char groupSeparator);
    ~StreamRepositoryPrivate() override;

    /// Stores a stream, making the groups that are missing.
    /// \param path the stream's path
    /// \param stream \ownership takes: deleted when the path is empty or taken
    /// \return \ownership lends: the stream of that path, new or not; null for the empty path
    Stream* AddStream(const std::string& path, std::unique_ptr<Stream> stream);
    /// \copydoc StreamRepository::AddStream(const std::string&, StreamType*, long)
    Stream* AddStream(const std::string& path, StreamType* type, long maxSize);
    /// \copydoc StreamRepository::GetStream
    Stream& GetStream(const std::string& path);
    /// \copydoc StreamRepository::GetGroup
    StreamGroup& GetGroup(const std::string& path);
    /// The root group, returned after the repository's mutex was taken and released.
    StreamGroup& GetLockedRoot();
    /// \copydoc StreamRepository::IsStreamTypeInUse(StreamType*) const
    bool IsStreamTypeInUse(StreamType* type);
    /// \copydoc StreamRepository::IsStreamTypeInUse(StreamTypeCollection*) const
    bool IsStreamTypeInUse(StreamTypeCollection* collection);
    /// \copydoc StreamRepository::Fill
    void Fill(const serialization::NodeSerializer& serializer, const serialization::INode& node,
              const StreamTypeRepository& types);
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;

  private:
    [[maybe_unused]] Poco::Logger& logger;
};

}  // namespace velmora::core::tessaryn
