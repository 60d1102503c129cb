// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/atomic_executor.h"
#include "tessaryn/export.h"
#include "tessaryn/stream_group.h"
#include "tessaryn/stream_type_collection.h"

#include <concepts>
#include <functional>
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
/// Returned pointers and references are valid until their object is removed.
class TESSARYN_API StreamRepository : public utils::AtomicExecutor<StreamRepository>,
                                      public serialization::ISerializable {
  public:
    /// An empty repository.
    /// \param logger \ownership observes: must outlive the repository
    StreamRepository(Poco::Logger& logger, char groupSeparator);

    /// Reads a repository: "GroupSeparator", "." when missing, and the root group under "Group".
    /// \param logger \ownership observes: must outlive the repository
    /// \param types where the streams' types are looked up; must outlive the repository
    /// \throws what `Fill` throws
    StreamRepository(Poco::Logger& logger, const serialization::NodeSerializer& serializer,
                     const serialization::INode& node, const StreamTypeRepository& types);

    // The order of the virtual operations is part of the binary interface: destructor, Serialize,
    // GetStream, GetGroup.
    ~StreamRepository() override;
    /// Writes "GroupSeparator" and "Group".
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;
    /// The stream of a path.
    /// \throws ItemNotFoundException that names the whole path
    virtual Stream& GetStream(const std::string& path) const;
    /// The group of a path; the root for the empty path.
    /// \throws GroupNotFoundException that names the whole path
    virtual StreamGroup& GetGroup(const std::string& path) const;

    /// Gets or makes every group of a path.
    /// \return \ownership lends: the last one; null for the empty path
    StreamGroup* AddGroup(const std::string& path);
    /// Stores a stream, making the groups that are missing.
    /// \param stream \ownership takes: deleted when the path is empty or taken, or when this throws
    /// \return \ownership lends: the stream of that path, new or not; null for the empty path
    Stream* AddStream(const std::string& path, Stream* stream);
    /// As above.
    template <class T>
    requires std::derived_from<T, Stream> Stream* AddStream(const std::string& path,
                                                            std::unique_ptr<T> stream) {
        return AddStream(path, static_cast<Stream*>(stream.release()));
    }
    /// As above, with a new stream, which is not made when the path is taken.
    /// \param type \ownership observes: the type of a new stream
    /// \param maxSize the capacity of a new stream
    /// \return \ownership lends: the stream of that path, new or not; null for the empty path
    /// \throws std::invalid_argument when the size is not 1 to 2^31-1
    Stream* AddStream(const std::string& path, StreamType* type, long maxSize);
    /// As above, with a stream read from its node, whose "Name" is its path.
    /// \param types where the stream's type is looked up
    /// \return \ownership lends: the stream of that path, new or not; null for the empty path
    /// \throws serialization::SerializationException when "Name" is missing
    /// \throws what the `Stream` constructor from a node throws
    Stream* AddStream(const serialization::NodeSerializer& serializer,
                      const serialization::INode& node, const StreamTypeRepository& types);

    /// The stream of a path, or null.
    /// \return \ownership lends
    Stream* GetStreamPtr(const std::string& path) const;
    /// As `GetStream`.
    Stream& operator[](const std::string& path) const;
    /// The group of a path, or null; the root for the empty path.
    /// \return \ownership lends
    StreamGroup* GetGroupPtr(const std::string& path) const;
    /// The root group.
    StreamGroup& GetRoot() const;
    /// The character that paths are split at.
    char groupSeparator() const;
    /// Calls a function for every stream with its path: for those of a group before those of its
    /// sub-groups, each in ascending order of their names.
    ///
    /// The repository's mutex is held meanwhile, so that no other thread removes the stream through
    /// the repository; one that removes it from its group must not run beside. The function may
    /// use, add and remove streams; it must not wait for another thread that needs the repository.
    /// `GetStreamPtr` finds the stream by the path, unless a name holds the separator.
    void ForEachStream(
        const std::function<void(const std::string& path, Stream& stream)>& visit) const;
    /// Calls a function with the stream of a path while the repository's mutex is held, as in
    /// `ForEachStream`, so that no other thread removes the stream through the repository.
    /// \return whether there is one
    bool VisitStream(const std::string& path,
                     const std::function<void(Stream& stream)>& visit) const;
    /// The path of a stream, such as the sender of a notification; empty when it is not in this
    /// repository. Linear in the number of streams.
    std::string PathOf(const Stream& stream) const;
    /// Whether there is neither a stream nor a group. Takes no lock.
    bool IsEmpty() const;
    /// Whether a stream is of this very type object.
    /// \param type \ownership observes
    bool IsStreamTypeInUse(StreamType* type) const;
    /// Whether a stream is of any version of a collection.
    /// \param collection \ownership observes: not null
    bool IsStreamTypeInUse(StreamTypeCollection* collection) const;

    /// Deletes the stream of a path or, only when there is none, the group.
    /// \return whether something was deleted
    bool Remove(const std::string& path);
    /// Deletes every stream and group.
    void Clear();

    /// Merges the root group under a node's "Group" into this repository; absent, it adds nothing.
    /// \param types where the streams' types are looked up
    /// \throws what `StreamGroup::Fill` throws; what was added before stays
    void Fill(const serialization::NodeSerializer& serializer, const serialization::INode& node,
              const StreamTypeRepository& types);

  protected:
    /// A repository without an implementation, for stand-ins that override the virtual operations.
    StreamRepository();

  private:
    std::unique_ptr<StreamRepositoryPrivate> implementation;
};

}  // namespace velmora::core::tessaryn
