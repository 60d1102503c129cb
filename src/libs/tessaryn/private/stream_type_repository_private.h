// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/export.h"
#include "tessaryn/generic_repo.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_collection_group.h"

#include <memory>
#include <string>

namespace Poco {
class Logger;
}

namespace velmora::core::tessaryn {

class FullNameIndex;

/// The implementation of a `StreamTypeRepository`, which documents the operations.
///
/// \threadsafety guarded
class TESSARYN_API StreamTypeRepositoryPrivate : public serialization::ISerializable {
  public:
    /// \param logger \ownership observes: must outlive the repository
    StreamTypeRepositoryPrivate(Poco::Logger& logger, char groupSeparator);
    ~StreamTypeRepositoryPrivate() override;

    /// \copydoc StreamTypeRepository::Add(const std::string&)
    StreamTypeCollection* Add(const std::string& path);
    /// Adds a collection read from its node, whose "Name" is taken as its path.
    /// \return \ownership lends: the collection of that path; null for the empty path
    StreamTypeCollection* Add(const serialization::NodeSerializer& serializer,
                              const serialization::INode& node);
    /// \copydoc StreamTypeRepository::AddGroup
    StreamTypeCollectionGroup* AddGroup(const std::string& path);
    /// \copydoc StreamTypeRepository::GetPtr
    StreamTypeCollection* GetPtr(const std::string& path);
    /// \copydoc StreamTypeRepository::Get
    StreamTypeCollection& Get(const std::string& path);
    /// \copydoc StreamTypeRepository::FindByFullName
    StreamTypeCollection* FindByFullName(const std::string& fullName);
    /// \copydoc StreamTypeRepository::ResolvePtr
    StreamTypeCollection* ResolvePtr(const std::string& pathOrFullName);
    /// \copydoc StreamTypeRepository::GetGroupPtr
    StreamTypeCollectionGroup* GetGroupPtr(const std::string& path);
    /// \copydoc StreamTypeRepository::GetGroup
    StreamTypeCollectionGroup& GetGroup(const std::string& path);
    /// \copydoc StreamTypeRepository::groupSeparator
    char groupSeparator() const { return repo.groupSeparator(); }
    /// \copydoc StreamTypeRepository::IsEmpty
    bool IsEmpty() const { return repo.GetRoot().IsEmpty(); }
    /// \copydoc StreamTypeRepository::Remove
    bool Remove(const std::string& path);
    /// \copydoc StreamTypeRepository::Clear
    void Clear();
    /// \copydoc StreamTypeRepository::Fill
    void Fill(const serialization::NodeSerializer& serializer, const serialization::INode& node);
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;

  private:
    GenericRepo<StreamTypeCollectionGroup, StreamTypeCollection> repo;
    [[maybe_unused]] Poco::Logger& logger;
    std::unique_ptr<FullNameIndex> fullNames;
};

}  // namespace velmora::core::tessaryn
