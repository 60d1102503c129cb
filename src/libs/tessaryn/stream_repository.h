// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/atomic_executor.h"
#include "tessaryn/export.h"
#include "tessaryn/stream_group.h"
#include "tessaryn/stream_type_collection.h"

#include <memory>
#include <string>

namespace Poco {
class Logger;
}

namespace velmora::core::tessaryn {

class StreamRepositoryPrivate;

/// The root of all streams: a tree of groups whose streams are addressed by path.
///
/// Paths are split at the repository's separator, while full names are always joined with ".". The
/// repository of the streams' types must outlive it.
///
/// \threadsafety guarded: look-ups, `Remove`, `Clear`, `Fill` and `IsStreamTypeInUse` hold the
/// repository's mutex; `AddGroup`, `AddStream` and `Serialize` rely on the groups' own; `IsEmpty`
/// takes no lock. `AtomicExecute` holds a mutex of its own: it excludes other `AtomicExecute` only.
/// Pointers and references handed out are valid until what they point to is removed.
class TESSARYN_API StreamRepository : public utils::AtomicExecutor<StreamRepository>,
                                      public serialization::ISerializable {
  public:
    /// An empty repository.
    /// \param logger \ownership observes: must outlive the repository
    /// \param groupSeparator splits paths
    StreamRepository(Poco::Logger& logger, char groupSeparator);

    /// Reads a repository: "GroupSeparator", "." when missing, and the root group under "Group".
    /// \param logger \ownership observes: must outlive the repository
    /// \param serializer reads the values
    /// \param node the repository's node
    /// \param types where the streams' types are looked up; must outlive the repository
    /// \throws what `Fill` throws
    StreamRepository(Poco::Logger& logger,
                     const serialization::Serializer<serialization::NodeRef>& serializer,
                     const serialization::INode& node, const StreamTypeRepository& types);

    // The order of the virtual operations is part of the binary interface: destructor, Serialize,
    // GetStream, GetGroup.
    ~StreamRepository() override;
    /// Writes "GroupSeparator" and "Group".
    /// \param serializer writes the values
    /// \param node the repository's node
    void Serialize(const serialization::Serializer<serialization::NodeRef>& serializer,
                   serialization::INode& node) const override;
    /// The stream of a path.
    /// \param path the path
    /// \throws ItemNotFoundException that names the whole path
    virtual Stream& GetStream(const std::string& path) const;
    /// The group of a path; the root for the empty path.
    /// \param path the path
    /// \throws GroupNotFoundException that names the whole path
    virtual StreamGroup& GetGroup(const std::string& path) const;

    /// Gets or makes every group of a path.
    /// \param path the path
    /// \return \ownership lends: the last one; null for the empty path
    StreamGroup* AddGroup(const std::string& path);
    /// Stores a stream, making the groups that are missing.
    /// \param path the stream's path
    /// \param stream \ownership takes: deleted when the path is empty or taken, or when this throws
    /// \return \ownership lends: the stream of that path, new or not; null for the empty path
    Stream* AddStream(const std::string& path, Stream* stream);
    /// As above, with a new stream.
    /// \param path the stream's path
    /// \param type \ownership observes: the type of a new stream
    /// \param maxSize samples that a new stream keeps
    /// \return \ownership lends: the stream of that path, new or not; null for the empty path
    /// \throws std::invalid_argument when the size is not 1 to 2^31-1
    Stream* AddStream(const std::string& path, StreamType* type, long maxSize);
    /// As above, with a stream read from its node, whose "Name" is its path.
    /// \param serializer reads the values
    /// \param node the stream's node
    /// \param types where the stream's type is looked up
    /// \return \ownership lends: the stream of that path, new or not; null for the empty path
    /// \throws serialization::SerializationException when "Name" is missing
    /// \throws what the `Stream` constructor from a node throws
    Stream* AddStream(const serialization::Serializer<serialization::NodeRef>& serializer,
                      const serialization::INode& node, const StreamTypeRepository& types);

    /// The stream of a path, or null.
    /// \param path the path
    /// \return \ownership lends
    Stream* GetStreamPtr(const std::string& path) const;
    /// As `GetStream`.
    /// \param path the path
    Stream& operator[](const std::string& path) const;
    /// The group of a path, or null; the root for the empty path.
    /// \param path the path
    /// \return \ownership lends
    StreamGroup* GetGroupPtr(const std::string& path) const;
    /// The root group.
    StreamGroup& GetRoot() const;
    /// The character that splits paths.
    char groupSeparator() const;
    /// Whether there is neither a stream nor a group. Takes no lock.
    bool IsEmpty() const;
    /// Whether a stream is of this very type object.
    /// \param type \ownership observes
    bool IsStreamTypeInUse(StreamType* type) const;
    /// Whether a stream is of any version of a collection.
    /// \param collection \ownership observes: not null
    bool IsStreamTypeInUse(StreamTypeCollection* collection) const;

    /// Deletes the stream of a path or, only when there is none, the group.
    /// \param path the path
    /// \return whether something was deleted
    bool Remove(const std::string& path);
    /// Deletes every stream and group.
    void Clear();

    /// Merges the root group under a node's "Group" into this repository; absent, it adds nothing.
    /// \param serializer reads the values
    /// \param node the repository's node
    /// \param types where the streams' types are looked up
    /// \throws what `StreamGroup::Fill` throws; what was added before stays
    void Fill(const serialization::Serializer<serialization::NodeRef>& serializer,
              const serialization::INode& node, const StreamTypeRepository& types);

  protected:
    /// A repository without an implementation, for stand-ins that override the virtual operations.
    StreamRepository();

  private:
    std::unique_ptr<StreamRepositoryPrivate> implementation;
};

}  // namespace velmora::core::tessaryn
