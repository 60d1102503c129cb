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

/// What stands behind a `StreamRepository`, which documents the operations.
///
/// \threadsafety guarded
class TESSARYN_API StreamRepositoryPrivate : public serialization::ISerializable,
                                             public GenericRepo<StreamGroup, Stream> {
  public:
    /// \param streamsLogger \ownership observes: must outlive the repository
    /// \param separator splits paths
    StreamRepositoryPrivate(Poco::Logger& streamsLogger, char separator);
    ~StreamRepositoryPrivate() override;

    Stream* AddStream(const std::string& path, std::unique_ptr<Stream> stream);
    Stream& GetStream(const std::string& path);
    StreamGroup& GetGroup(const std::string& path);
    StreamGroup& GetLockedRoot();
    bool IsStreamTypeInUse(StreamType* type);
    bool IsStreamTypeInUse(StreamTypeCollection* collection);
    void Fill(const serialization::Serializer<serialization::NodeRef>& serializer,
              const serialization::INode& node, const StreamTypeRepository& types);
    void Serialize(const serialization::Serializer<serialization::NodeRef>& serializer,
                   serialization::INode& node) const override;

  private:
    [[maybe_unused]] Poco::Logger& logger;
};

}  // namespace velmora::core::tessaryn
