// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/atomic_executor.h"
#include "tessaryn/errors.h"
#include "tessaryn/export.h"
#include "tessaryn/group_visit.h"
#include "tessaryn/named_children.h"
#include "tessaryn/named_object.h"

#include <Poco/Mutex.h>
#include <Poco/ScopedLock.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

/// One named node of a tree: owns named items and named sub-groups.
///
/// Serves for any `Item` with a destructor and any `Group` that derives from
/// `GenericGroup<Item, Group>` and has a constructor (name, parent).
///
/// Invariants:
/// 1. A name is unique among the items, and unique among the sub-groups; an item and a sub-group
///    may share one.
/// 2. The group owns its items and sub-groups and deletes them on removal and destruction.
///
/// Children are listed in ascending order of their names, compared byte by byte. Looking one up,
/// adding and removing cost O(log n) of n children, whatever their names. A group must not outlive
/// its parent. Operations throw `std::bad_alloc` and what is documented; then they change nothing.
///
/// \threadsafety guarded: every operation locks this group only; `IsEmpty`, `GetName` and
/// `GetFullName` take no lock. A pointer to a child is valid until the child is removed; use it
/// inside `AtomicExecute` where another thread may remove the child.
template <class Item, class Group>
class TESSARYN_API GenericGroup : public INamedObject,
                                  public utils::AtomicExecutor<GenericGroup<Item, Group>> {
  public:
    /// An empty group.
    // Hosts compile this with their own warnings, so the parameters do not shadow the fields.
    /// \param groupName a root's is empty
    /// \param groupParent \ownership observes: the group above, null for a root; must outlive this
    /// \param nameSeparator joins the parent's full name and this name
    GenericGroup(const std::string& groupName, const INamedObject* groupParent, char nameSeparator)
        : parent(groupParent), name(groupName), separator(nameSeparator) {}

    ~GenericGroup() override { DeleteGroups(); }

    std::string GetName() const override { return name; }

    /// The names from the root down to this group, without those of unnamed groups at the top.
    std::string GetFullName() const override {
        const std::string above = parent == nullptr ? std::string() : parent->GetFullName();
        return above.empty() ? name : above + separator + name;
    }

    /// Stores an item.
    /// \param item \ownership takes on success: left with the caller when the name is taken
    /// \return \ownership lends: the item of that name, new or not; null when `item` was null
    Item* AddItem(const std::string& itemName, std::unique_ptr<Item>&& item) {
        const Lock lock(this->mutex);
        return Insert(items, itemName, item);
    }

    /// Same as `AddItem`, but an item whose name is taken is deleted.
    /// \param item \ownership takes
    /// \return \ownership lends: the item of that name, new or not
    Item* AddItemMove(const std::string& itemName, std::unique_ptr<Item>&& item) {
        const Lock lock(this->mutex);
        std::unique_ptr<Item> owner(std::move(item));
        return Insert(items, itemName, owner);
    }

    /// Stores a sub-group.
    /// \param groupName the name here, which may differ from the sub-group's own
    /// \param group \ownership takes on success: left with the caller when the name is taken
    /// \return \ownership lends: the sub-group of that name, new or not; null when `group` was null
    Group* AddGroup(const std::string& groupName, std::unique_ptr<Group>&& group) {
        const Lock lock(this->mutex);
        return Insert(groups, groupName, group);
    }

    /// Same as `AddGroup`, but a sub-group whose name is taken is deleted.
    /// \param groupName the name here, which may differ from the sub-group's own
    /// \param group \ownership takes
    /// \return \ownership lends: the sub-group of that name, new or not
    Group* AddGroupMove(const std::string& groupName, std::unique_ptr<Group>&& group) {
        const Lock lock(this->mutex);
        std::unique_ptr<Group> owner(std::move(group));
        return Insert(groups, groupName, owner);
    }

    /// The sub-group of a name; a new one, with this group as parent, when there was none.
    /// \return \ownership lends
    Group* AddGroup(const std::string& groupName) {
        const Lock lock(this->mutex);
        Group* const existing = FindGroup(groupName);
        return existing != nullptr ? existing
                                   : AddGroup(groupName, std::make_unique<Group>(groupName, this));
    }

    /// The item of a name among the direct children, or null.
    /// \return \ownership lends
    Item* GetItemPtr(const std::string& itemName) const {
        const Lock lock(this->mutex);
        return items.Find(itemName);
    }

    /// The sub-group of a name among the direct children, or null.
    /// \return \ownership lends
    Group* GetGroupPtr(const std::string& groupName) const {
        const Lock lock(this->mutex);
        return FindGroup(groupName);
    }

    /// \throws ItemNotFoundException when absent
    Item& GetItem(const std::string& itemName) const {
        Item* const item = GetItemPtr(itemName);
        if (item == nullptr) {
            throw ItemNotFoundException(itemName);
        }
        return *item;
    }

    /// \throws GroupNotFoundException when absent
    Group& GetGroup(const std::string& groupName) const {
        Group* const group = GetGroupPtr(groupName);
        if (group == nullptr) {
            throw GroupNotFoundException(groupName);
        }
        return *group;
    }

    bool ItemExists(const std::string& itemName) const { return GetItemPtr(itemName) != nullptr; }

    bool GroupExists(const std::string& groupName) const {
        return GetGroupPtr(groupName) != nullptr;
    }

    /// The names of the direct items.
    std::vector<std::string> GetItemNames() const {
        const Lock lock(this->mutex);
        return items.GetNames();
    }

    /// The names of the direct sub-groups.
    std::vector<std::string> GetGroupNames() const {
        const Lock lock(this->mutex);
        return groups.GetNames();
    }

    /// The direct items, in the order of `GetItemNames`.
    /// \return \ownership lends
    std::vector<Item*> GetAllItemPtrs() const {
        const Lock lock(this->mutex);
        return items.GetPointers();
    }

    /// The direct sub-groups, in the order of `GetGroupNames`.
    /// \return \ownership lends
    std::vector<Group*> GetAllGroupPtrs() const {
        const Lock lock(this->mutex);
        return groups.GetPointers();
    }

    /// Whether the group has neither items nor sub-groups. Takes no lock: during a change on
    /// another thread it gives the state before or after.
    bool IsEmpty() const { return childCount.load(std::memory_order_relaxed) == 0; }

    /// Deletes the item of a name.
    /// \return whether there was one
    bool RemoveItem(const std::string& itemName) {
        const Lock lock(this->mutex);
        const std::unique_ptr<Item> item = items.Take(itemName);
        if (!item) {
            return false;
        }
        CountChange();
        return true;
    }

    /// Deletes the sub-group of a name with all that is below it.
    /// \return whether there was one
    bool RemoveGroup(const std::string& groupName) {
        const Lock lock(this->mutex);
        std::unique_ptr<Group> group = groups.Take(groupName);
        if (!group) {
            return false;
        }
        CountChange();
        Retire(std::move(group));
        return true;
    }

    /// Deletes the item of a name or, only when there is none, the sub-group.
    /// \return whether there was one of either
    bool Remove(const std::string& childName) {
        const Lock lock(this->mutex);
        return RemoveItem(childName) || RemoveGroup(childName);
    }

    /// Deletes all sub-groups and items.
    void Clear() {
        const Lock lock(this->mutex);
        DeleteGroups();
        items.Clear();
        CountChange();
    }

    /// Number of changes to the children of all groups of this class in the process. Caches of data
    /// that was computed from a tree compare it.
    static std::uint64_t CountChanges() { return changes.load(std::memory_order_acquire); }

  protected:
    using Lock = Poco::ScopedLock<Poco::Mutex>;

    /// Must be called after each change to `groups` or `items`, with the mutex still locked.
    void CountChange() {
        childCount.store(groups.GetSize() + items.GetSize(), std::memory_order_relaxed);
        changes.fetch_add(1, std::memory_order_release);
    }

    /// Moves the children of a group that is about to be deleted here. Sub-groups of the same name
    /// are merged likewise; an item whose name is taken stays where it is.
    /// \param adopt called with each item and the group that it comes to
    template <class Adopt>
    void Merge(GenericGroup& source, Adopt adopt) {
        const Lock lock(this->mutex);
        for (const auto& [childName, child] : source.groups) {
            Group* const existing = FindGroup(childName);
            if (existing != nullptr) {
                existing->Merge(*child, adopt);
            } else {
                child->parent = this;
            }
        }
        for (const auto& [childName, child] : source.items) {
            adopt(*child, *this);
        }
        groups.Merge(source.groups);
        items.Merge(source.items);
        CountChange();
    }

    NamedChildren<Group> groups;  ///< guarded by the mutex
    NamedChildren<Item> items;    ///< guarded by the mutex

  private:
    friend class GroupVisit<Group>;

    Group* FindGroup(std::string_view groupName) const { return groups.Find(groupName); }

    template <class Child>
    Child* Insert(NamedChildren<Child>& children, const std::string& childName,
                  std::unique_ptr<Child>& child) {
        Child* const stored = children.Insert(childName, child);
        if (!child) {
            CountChange();
        }
        return stored;
    }

    // Passes a removed group to its visitors, if there are any.
    // \return the group, to be deleted; null when its last visitor deletes it
    static std::unique_ptr<Group> Retire(std::unique_ptr<Group> group) noexcept {
        const Lock lock(group->mutex);
        if (!group->visits.Remove()) {
            static_cast<void>(group.release());
        }
        return group;
    }

    // Deletes all sub-groups from the leaves up, without recursion: the tree may be deeper than the
    // call stack allows. If there is no memory for the path, a sub-tree is deleted by recursion.
    void DeleteGroups() noexcept {
        std::vector<std::unique_ptr<Group>> path;
        for (;;) {
            GenericGroup& above = path.empty() ? *this : *path.back();
            std::unique_ptr<Group> group = above.groups.TakeFirst();
            if (!group) {
                if (path.empty()) {
                    return;
                }
                path.pop_back();
                continue;
            }
            group = Retire(std::move(group));
            if (group) {
                try {
                    path.push_back(std::move(group));
                } catch (const std::bad_alloc&) {
                    group.reset();
                }
            }
        }
    }

    static inline std::atomic<std::uint64_t> changes{0};

    const INamedObject* parent;
    std::string name;
    char separator;
    std::atomic<std::size_t> childCount{0};
    VisitCount visits;
};

}  // namespace velmora::core::tessaryn
