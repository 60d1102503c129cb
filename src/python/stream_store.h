// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "stream_handle.h"
#include "tessaryn/stream_repository.h"
#include "type_store.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

namespace velmora::python {

/// A repository of streams whose removal waits for the calls that use a stream.
///
/// Streams are removed only through this class. Call all operations without the GIL.
///
/// Lock order: this object's mutex, that of the types, then the library's locks.
///
/// \threadsafety guarded
class StreamStore {
  public:
    using Stream = core::tessaryn::Stream;
    using StreamRepository = core::tessaryn::StreamRepository;

    StreamStore(std::shared_ptr<TypeStore> types, char separator);
    /// Takes a repository that was read, with its types.
    StreamStore(std::shared_ptr<TypeStore> types, std::unique_ptr<StreamRepository> repository);
    StreamStore(const StreamStore&) = delete;
    StreamStore& operator=(const StreamStore&) = delete;
    ~StreamStore();

    /// Adds a stream, and its type to the types, under its name, unless it exists.
    /// \param maxSize the stream's capacity
    /// \throws std::invalid_argument when the path is empty or taken, the size is not 1 to 2^31-1,
    /// or the types have another type of this name and version
    /// \throws DeadReference when the repository was closed
    std::shared_ptr<StreamLink> Add(const std::string& path, const TypeRecord& type, long maxSize);
    /// The stream of a path.
    /// \return null when there is none
    /// \throws DeadReference when the repository was closed
    std::shared_ptr<StreamLink> Find(const std::string& path);
    /// The paths of all streams, those of a group before those of its sub-groups.
    std::vector<std::string> GetPaths() const;
    /// Removes the stream of a path or, if there is none, the group with everything below it.
    /// \return whether there was one
    bool Remove(const std::string& path);
    /// Removes all streams and groups.
    void Clear();
    /// Removes all streams and groups, and refuses every later use.
    void Close();
    bool IsClosed() const;

    /// The units of a stream's entries, by their names.
    std::map<std::string, std::string> GetUnits(const std::string& path) const;
    void SetUnit(const std::string& path, const std::string& entry, const std::string& unit);

    const std::shared_ptr<TypeStore>& GetTypes() const { return types; }
    char GetSeparator() const { return repository->groupSeparator(); }

    /// Calls a function object with the repository, while no other thread adds or removes streams.
    /// The function must not wait for a thread that uses this store.
    template <class Work>
    auto Use(Work work) const {
        const std::lock_guard lock(guard);
        CheckOpen();
        return work(*repository);
    }

  private:
    using Links = std::unordered_map<const Stream*, std::shared_ptr<StreamLink>>;

    void CheckOpen() const;
    std::shared_ptr<StreamLink> LinkOf(const std::string& path, Stream& stream);
    template <class Visit>
    void VisitLinks(const core::tessaryn::StreamGroup& group, Visit visit) const;
    void RemoveLink(const Stream* stream);
    void RemoveAll();

    std::shared_ptr<TypeStore> types;
    mutable std::mutex guard;
    // Guarded by the mutex. The repository is shared with the types, which query it for types in
    // use.
    std::shared_ptr<StreamRepository> repository;
    Links links;
    std::map<std::string, std::map<std::string, std::string>> units;
    bool isClosed = false;
};

}  // namespace velmora::python
