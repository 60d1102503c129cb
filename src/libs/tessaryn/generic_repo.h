// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/split.h"
#include "tessaryn/atomic_executor.h"

#include <Poco/Mutex.h>
#include <Poco/ScopedLock.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

/// The root of one tree of groups, and the resolution of paths in it.
///
/// A path is split at the repository's separator: its last component names an item or a group,
/// those before it name groups from the root down. The full names of groups are joined with a
/// separator of their own, so a path is not a full name.
///
/// \threadsafety guarded: look-ups, `Remove` and `Clear` hold the repository's mutex for their
/// whole run and lock each group on the way, one at a time. `AddItem` and `AddGroup` rely on the
/// locks of the groups that they touch.
template <class Group, class Item>
class GenericRepo : public utils::AtomicExecutor<GenericRepo<Group, Item>> {
  public:
    /// An empty tree: one root group without name and parent.
    /// \param separator splits paths
    explicit GenericRepo(char separator) : root("", nullptr), pathSeparator(separator) {}

    /// The components of a path: none of the empty path, an empty one between two separators, none
    /// after a separator at the end.
    /// \param path the path
    std::vector<std::string> Split(const std::string& path) const {
        return utils::Split(path, pathSeparator);
    }

    /// Stores an item under the last component, making the groups that are missing.
    /// \param path the item's path; the empty path stores nothing
    /// \param item \ownership takes on success: left with the caller when the path is empty or
    /// taken
    /// \return \ownership lends: the item of that path, new or not; null for the empty path
    Item* AddItem(const std::string& path, std::unique_ptr<Item>&& item) {
        const std::vector<std::string> names = Split(path);
        if (names.empty()) {
            return nullptr;
        }
        return AddGroups(names, names.size() - 1).AddItem(names.back(), std::move(item));
    }

    /// Gets or makes every group of a path.
    /// \param path the path
    /// \return \ownership lends: the last one; null for the empty path
    Group* AddGroup(const std::string& path) {
        const std::vector<std::string> names = Split(path);
        return names.empty() ? nullptr : &AddGroups(names, names.size());
    }

    /// The item of a path, or null when any step is missing.
    /// \param path the path
    /// \return \ownership lends
    Item* GetItemPtr(const std::string& path) {
        const Lock lock(this->mutex);
        std::string name;
        Group* const group = FindParent(path, name);
        return group == nullptr ? nullptr : group->GetItemPtr(name);
    }

    /// The group of a path, or null when any step is missing; the root for the empty path.
    /// \param path the path
    /// \return \ownership lends
    Group* GetGroupPtr(const std::string& path) {
        const Lock lock(this->mutex);
        if (path.empty()) {
            return &root;
        }
        std::string name;
        Group* const group = FindParent(path, name);
        return group == nullptr ? nullptr : group->GetGroupPtr(name);
    }

    /// Deletes the item of a path or, only when there is none, the group.
    /// \param path the path
    /// \return whether something was deleted
    bool Remove(const std::string& path) {
        const Lock lock(this->mutex);
        std::string name;
        Group* const group = FindParent(path, name);
        return group != nullptr && group->Remove(name);
    }

    /// Deletes everything below the root.
    void Clear() {
        const Lock lock(this->mutex);
        root.Clear();
    }

    /// The root group. Takes no lock.
    /// \return \ownership lends
    Group& GetRoot() { return root; }
    /// The root group. Takes no lock.
    /// \return \ownership lends
    const Group& GetRoot() const { return root; }

    /// The character that paths are split at.
    char groupSeparator() const { return pathSeparator; }

  protected:
    using Lock = Poco::ScopedLock<Poco::Mutex>;  ///< holds the executor's mutex

    /// Gets or makes the groups of the first names.
    /// \param names the components of a path
    /// \param count how many of them name groups
    /// \return the last of the groups; the root for none
    Group& AddGroups(const std::vector<std::string>& names, std::size_t count) {
        Group* group = &root;
        for (std::size_t i = 0; i < count; ++i) {
            group = group->AddGroup(names[i]);
        }
        return *group;
    }

  private:
    /// The group that would hold the last component, which goes into `name`; null when it is
    /// missing or there is no component.
    Group* FindParent(const std::string& path, std::string& name) {
        utils::Splitter components(path, pathSeparator);
        if (components.IsAtEnd()) {
            return nullptr;
        }
        Group* group = &root;
        name = components.Next();
        while (group != nullptr && !components.IsAtEnd()) {
            group = group->GetGroupPtr(name);
            name = components.Next();
        }
        return group;
    }

    Group root;
    char pathSeparator;
};

}  // namespace velmora::core::tessaryn
