// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/stream_type_repository.h"
#include "type_record.h"

#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
class StreamRepository;
}

namespace velmora::python {

/// A repository of stream types, and the repositories of streams that use it. Types are passed by
/// value; a type that a stream uses cannot be removed.
///
/// No operation needs the GIL. Call them without it.
///
/// \threadsafety guarded
class TypeStore {
  public:
    using StreamRepository = core::tessaryn::StreamRepository;
    using StreamType = core::tessaryn::StreamType;

    explicit TypeStore(char separator);
    /// Takes a repository that was read.
    explicit TypeStore(std::unique_ptr<core::tessaryn::StreamTypeRepository> repository);

    /// Adds a copy of a type.
    /// \throws std::invalid_argument when the path is empty, or has this version with other entries
    void Add(const std::string& path, const TypeRecord& type);
    /// Adds a copy of a type, and calls a function object with it; no other thread can remove it
    /// before.
    template <class Work>
    auto AddAndUse(const std::string& path, const TypeRecord& type, Work work) {
        const std::lock_guard lock(guard);
        return work(FindOrAdd(path, type));
    }

    /// The versions at a path, ascending; empty if there is no collection.
    std::optional<std::vector<utils::Version>> GetVersions(const std::string& path) const;
    /// A version, or the latest one.
    /// \return null when there is none
    std::shared_ptr<const TypeRecord> Find(const std::string& path,
                                           const std::optional<utils::Version>& version) const;
    /// A type of this repository as a value.
    std::shared_ptr<const TypeRecord> RecordOf(const StreamType& type) const;
    /// The paths of all collections.
    std::vector<std::string> GetPaths() const;
    char GetSeparator() const { return repository->groupSeparator(); }

    /// Removes a collection, or one version of it.
    /// \return whether there was one
    /// \throws std::invalid_argument when a stream uses it
    bool Remove(const std::string& path, const std::optional<utils::Version>& version);

    /// Registers a repository whose streams use these types.
    void Attach(std::weak_ptr<StreamRepository> streams);

    /// Keeps a type from being removed until `Unpin` was called as often.
    void Pin(const StreamType& type);
    void Unpin(const StreamType& type);

    /// Calls a function object with the repository, while no other thread changes it through this
    /// object.
    template <class Work>
    auto Use(Work work) const {
        const std::lock_guard lock(guard);
        return work(*repository);
    }

  private:
    using Records = std::unordered_map<const StreamType*, std::shared_ptr<const TypeRecord>>;

    StreamType* FindOrAdd(const std::string& path, const TypeRecord& type);
    template <class Visit>
    void ForEach(Visit visit) const;
    std::shared_ptr<const TypeRecord> Remember(const std::string& path,
                                               const StreamType& type) const;
    void CheckUnused(const std::string& path, StreamType* type) const;

    mutable std::mutex guard;
    // Guarded by the mutex.
    std::unique_ptr<core::tessaryn::StreamTypeRepository> repository;
    std::vector<std::weak_ptr<StreamRepository>> users;
    mutable Records records;
    std::multiset<const StreamType*> pinned;
};

/// Keeps a type in its repository.
///
/// \threadsafety external
class TypePin {
  public:
    TypePin(std::shared_ptr<TypeStore> store, const core::tessaryn::StreamType& type)
        : store(std::move(store)), type(&type) {
        this->store->Pin(type);
    }
    TypePin(const TypePin&) = delete;
    TypePin& operator=(const TypePin&) = delete;
    ~TypePin() { store->Unpin(*type); }

  private:
    std::shared_ptr<TypeStore> store;
    const core::tessaryn::StreamType* type;
};

}  // namespace velmora::python
