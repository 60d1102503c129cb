// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/version.h"
#include "tessaryn/errors.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace velmora::utils {

/// The versions of one named object, in ascending order; the last one is the latest.
///
/// Invariants:
/// 1. `objects` and `versions` have the same length; `versions[i]` is that of `objects[i]`.
/// 2. Versions ascend strictly.
/// 3. The collection owns its objects and deletes them on removal, replacement and destruction.
///
/// Copies are shallow: a copy holds the same pointers and would delete the same objects. A derived
/// class whose copies are destroyed independently must copy the objects. An operation that throws
/// changes nothing.
///
/// \threadsafety external
template <class T>
class VersionedCollection {
  public:
    /// An empty collection.
    /// \param collectionName appears in the messages of exceptions only
    explicit VersionedCollection(const std::string& collectionName) : name(collectionName) {}

    VersionedCollection(const VersionedCollection&) = default;  ///< shares the objects

    /// Copies the pointers and the name; the objects held before are not deleted.
    VersionedCollection& operator=(const VersionedCollection& other) {
        std::vector<T*> sharedObjects(other.objects);
        std::vector<Version> sameVersions(other.versions);
        if (this != &other) {
            name = other.name;
        }
        objects.swap(sharedObjects);
        versions.swap(sameVersions);
        return *this;
    }

    virtual ~VersionedCollection() { Clear(); }

    /// Inserts an object at its place in version order.
    /// \param object \ownership takes: deleted when this throws
    /// \throws VersionedObjectAlreadyExistsException when the version exists
    /// \throws WrongVersionException when the version is 0.0.0 and the collection is empty
    /// \throws std::bad_alloc
    T& Add(T* object, const Version& version) {
        std::unique_ptr<T> owner(object);
        const auto place = std::lower_bound(versions.begin(), versions.end(), version);
        if (place == versions.end()) {
            Version step = version;
            step -= GetLatestVersion();
            return PushNew(owner.release(), step);
        }
        if (*place == version) {
            throw VersionedObjectAlreadyExistsException(
                "Version " + version.ToString() + " already exist in the collection " + name,
                version);
        }
        const auto index = std::distance(versions.begin(), place);
        MakeRoom();
        versions.insert(versions.begin() + index, version);
        objects.insert(objects.begin() + index, owner.get());
        return *owner.release();
    }

    /// Appends an object as the new latest one.
    /// \param object \ownership takes: deleted when this throws
    /// \param versionDelta step from the latest version, or from 0.0.0 when empty
    /// \throws WrongVersionException when the step is smaller than `Version::SmallestDelta()`, or
    /// the sum exceeds the largest version
    /// \throws std::bad_alloc
    T& PushNew(T* object, const Version& versionDelta) {
        std::unique_ptr<T> owner(object);
        if (versionDelta < Version::SmallestDelta()) {
            throw WrongVersionException(
                "Param version_delta can not be smaller than Version::SmallestDelta", versionDelta);
        }
        const Version latest = GetLatestVersion();
        Version version = latest;
        version += versionDelta;
        if (version < latest) {
            throw WrongVersionException(
                "Param version_delta leads beyond the largest version from " + latest.ToString(),
                versionDelta);
        }
        MakeRoom();
        versions.push_back(version);
        objects.push_back(owner.get());
        return *owner.release();
    }

    /// The object of a version, or of the latest for `Version::Latest()`; null when absent.
    /// \return \ownership lends: until the version is removed or replaced
    T* GetPtr(const Version& version) const {
        if (version == Version::Latest()) {
            return GetLatestPtr();
        }
        const std::size_t index = Find(version);
        return index < objects.size() ? objects[index] : nullptr;
    }

    /// As `GetPtr`.
    /// \throws VersionedObjectNotFoundException when absent
    T& Get(const Version& version) const {
        T* const object = GetPtr(version);
        if (object == nullptr) {
            throw VersionedObjectNotFoundException(
                "Version " + version.ToString() + " does not exist in the collection " + name,
                version);
        }
        return *object;
    }

    /// As `Get`.
    T& operator[](const Version& version) const { return Get(version); }

    /// The object of the highest version.
    /// \throws VersionedObjectNotFoundException when the collection is empty
    T& GetLatest() const {
        if (objects.empty()) {
            throw VersionedObjectNotFoundException("Collection " + name + " is empty",
                                                   GetLatestVersion());
        }
        return *objects.back();
    }

    /// The object of the highest version, or null.
    T* GetLatestPtr() const { return objects.empty() ? nullptr : objects.back(); }

    /// The highest version, or 0.0.0.
    Version GetLatestVersion() const {
        return versions.empty() ? Version(0, 0, 0) : versions.back();
    }

    /// All objects in ascending order of their versions.
    /// \return \ownership lends
    std::vector<T*> GetAll() const { return objects; }

    /// Whether there is no version.
    bool IsEmpty() const { return objects.empty(); }

    /// Deletes the object of a version, if present. `Version::Latest()` is not the latest one here,
    /// but the version 255.255.65535.
    void Remove(const Version& version) {
        const std::size_t index = Find(version);
        if (index < objects.size()) {
            EraseAt(index);
        }
    }

    /// Deletes the latest object; the next lower version becomes the latest.
    void PopLatest() {
        if (!objects.empty()) {
            EraseAt(objects.size() - 1);
        }
    }

    /// Deletes all objects; the name stays.
    void Clear() {
        std::vector<T*> doomed;
        doomed.swap(objects);
        versions.clear();
        for (T* object : doomed) {
            delete object;
        }
    }

  protected:
    /// Replaces the object of a version; nothing happens when the version is absent.
    /// \param object \ownership takes on success: not taken when the version is absent
    void Set(const Version& version, T* object) {
        const std::size_t index = Find(version);
        if (index < objects.size()) {
            ReplaceAt(index, object);
        }
    }

    /// Replaces the latest object under its version; nothing happens in an empty collection.
    /// \param object \ownership takes on success: not taken when the collection is empty
    void SetLatest(T* object) {
        if (!objects.empty()) {
            ReplaceAt(objects.size() - 1, object);
        }
    }

    std::vector<T*> objects;        ///< owned, by ascending version
    std::vector<Version> versions;  ///< of the objects, ascending
    std::string name;               ///< appears in the messages of exceptions

  private:
    /// Index of a version; the number of versions when absent.
    std::size_t Find(const Version& version) const {
        const auto place = std::lower_bound(versions.begin(), versions.end(), version);
        const bool found = place != versions.end() && *place == version;
        return found ? static_cast<std::size_t>(std::distance(versions.begin(), place))
                     : versions.size();
    }

    /// Reserves memory, so that inserting one more element into both vectors cannot throw.
    void MakeRoom() {
        const std::size_t wanted = objects.size() + 1;
        if (objects.capacity() < wanted) {
            objects.reserve(2 * wanted);
        }
        if (versions.capacity() < wanted) {
            versions.reserve(2 * wanted);
        }
    }

    void EraseAt(std::size_t index) {
        const std::unique_ptr<T> doomed(objects[index]);
        versions.erase(versions.begin() + static_cast<std::ptrdiff_t>(index));
        objects.erase(objects.begin() + static_cast<std::ptrdiff_t>(index));
    }

    void ReplaceAt(std::size_t index, T* object) {
        const std::unique_ptr<T> doomed(objects[index]);
        objects[index] = object;
    }
};

}  // namespace velmora::utils
