// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/split.h"
#include "tessaryn/atomic_executor.h"
#include "tessaryn/group_visit.h"

#include <Poco/Mutex.h>
#include <Poco/ScopedLock.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
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
/// locks of the groups that they touch. When another thread removes a group on the way, what is
/// added below it is deleted with it, and the pointer returned is dangling; use the pointer inside
/// `AtomicExecute` where another thread may remove groups.
template <class Group, class Item>
class GenericRepo : public utils::AtomicExecutor<GenericRepo<Group, Item>> {
  public:
    /// An empty tree: one root group without name and parent.
    explicit GenericRepo(char pathSeparator) : root("", nullptr), separator(pathSeparator) {}

    /// The components of a path: none of the empty path, an empty one between two separators, none
    /// after a separator at the end.
    std::vector<std::string> Split(const std::string& path) const {
        return utils::Split(path, separator);
    }

    /// Stores an item under the last component, making the groups that are missing.
    /// \param path the empty path stores nothing
    /// \param item \ownership takes on success: left with the caller when the path is empty or
    /// taken
    /// \return \ownership lends: the item of that path, new or not; null for the empty path
    Item* AddItem(const std::string& path, std::unique_ptr<Item>&& item) {
        return AddItem(path, [&](Group& group, const std::string& name) {
            return group.AddItem(name, std::move(item));
        });
    }

    /// Makes the groups that are missing, and lets a function object store the item.
    /// \param path the empty path stores nothing
    /// \param add called with the group that is to hold the item and with the last component; the
    /// group is not locked, but exists until the call returns
    /// \return what `add` returns; null for the empty path
    template <class Add>
    requires std::is_invocable_r_v<Item*, Add, Group&, const std::string&> Item* AddItem(
        const std::string& path, Add add) {
        const std::vector<std::string> names = Split(path);
        if (names.empty()) {
            return nullptr;
        }
        GroupVisit<Group> visit(root);
        for (std::size_t i = 0; i + 1 < names.size(); ++i) {
            visit.EnterOrAdd(names[i]);
        }
        return add(*visit, names.back());
    }

    /// Gets or makes every group of a path.
    /// \return \ownership lends: the last one; null for the empty path
    Group* AddGroup(const std::string& path) {
        const std::vector<std::string> names = Split(path);
        if (names.empty()) {
            return nullptr;
        }
        GroupVisit<Group> visit(root);
        for (const std::string& name : names) {
            visit.EnterOrAdd(name);
        }
        // As for every pointer lent, the caller keeps other threads from removing the group.
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete)
        return &*visit;
    }

    /// The item of a path, or null when any step is missing.
    /// \return \ownership lends
    Item* GetItemPtr(const std::string& path) {
        const Lock lock(this->mutex);
        return FindItem(path);
    }

    /// Calls a function object with the item of a path while the repository's mutex is held.
    /// \return whether there is one
    template <class Visit>
    bool VisitItem(const std::string& path, Visit visit) {
        const Lock lock(this->mutex);
        Item* const item = FindItem(path);
        if (item == nullptr) {
            return false;
        }
        visit(*item);
        return true;
    }

    /// The group of a path, or null when any step is missing; the root for the empty path.
    /// \return \ownership lends
    Group* GetGroupPtr(const std::string& path) {
        const Lock lock(this->mutex);
        return path.empty() ? &root
                            : AtParent<Group*>(path, [](Group& group, const std::string& name) {
                                  return group.GetGroupPtr(name);
                              });
    }

    /// Deletes the item of a path or, only when there is none, the group.
    /// \return whether something was deleted
    bool Remove(const std::string& path) {
        const Lock lock(this->mutex);
        return AtParent<bool>(
            path, [](Group& group, const std::string& name) { return group.Remove(name); });
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
    char groupSeparator() const { return separator; }

    /// Calls a function object for every item until it returns false: for those of a group before
    /// those of its sub-groups, each in ascending order of the names.
    /// \param visit called with the item's path and the item, while the repository's mutex is held
    /// and no group's, so that it may look up from the root; may add and remove, which those not
    /// yet visited take part in
    template <class Visit>
    void ForEachItem(Visit visit) {
        struct Pending {
            GroupVisit<Group> group;
            std::string prefix;  // of the paths of all that is in the group
        };
        const Lock lock(this->mutex);
        std::vector<Pending> open;
        open.push_back({GroupVisit<Group>(root), ""});
        while (!open.empty()) {
            const Pending pending = std::move(open.back());
            open.pop_back();
            if (!VisitItems(*pending.group, pending.prefix, visit)) {
                return;
            }
            std::vector<std::string> names = pending.group->GetGroupNames();
            std::reverse(names.begin(), names.end());
            for (const std::string& name : names) {
                std::optional<GroupVisit<Group>> below = pending.group.Fork(name);
                if (below) {
                    open.push_back({std::move(*below), pending.prefix + name + separator});
                }
            }
        }
    }

  protected:
    using Lock = Poco::ScopedLock<Poco::Mutex>;

    /// Same as `GetItemPtr`, but does not take the repository's mutex.
    Item* FindItem(const std::string& path) {
        return AtParent<Item*>(
            path, [](Group& group, const std::string& name) { return group.GetItemPtr(name); });
    }

  private:
    template <class Visit>
    bool VisitItems(const Group& group, const std::string& prefix, Visit& visit) const {
        for (const std::string& name : group.GetItemNames()) {
            Item* const item = group.GetItemPtr(name);
            // A separator at the end of a path adds no component, unless another one precedes it.
            const std::string end(name.empty() ? 1U : 0U, separator);
            if (item != nullptr && !visit(prefix + name + end, *item)) {
                return false;
            }
        }
        return true;
    }

    /// Calls a function object with the group that holds the last component of a path, which is
    /// locked, and with that component.
    /// \return its result; null or false when a group is missing or the path is empty
    template <class Result, class Work>
    Result AtParent(const std::string& path, Work work) {
        utils::Splitter components(path, separator);
        if (components.IsAtEnd()) {
            return Result();
        }
        GroupVisit<Group> visit(root);
        std::string_view name = components.Next();
        while (!components.IsAtEnd()) {
            if (!visit.Enter(name)) {
                return Result();
            }
            name = components.Next();
        }
        return visit.Leave([&](Group& group) { return work(group, std::string(name)); });
    }

    Group root;
    char separator;
};

}  // namespace velmora::core::tessaryn
