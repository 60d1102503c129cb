// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/atomic_executor.h"
#include "tessaryn/errors.h"
#include "tessaryn/export.h"
#include "tessaryn/named_children.h"
#include "tessaryn/named_object.h"

#include <Poco/Mutex.h>
#include <Poco/ScopedLock.h>

#include <memory>
#include <new>
#include <string>
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
/// Children are listed in the hash map's order: neither sorted nor that of adding. A group must not
/// outlive its parent.
///
/// \threadsafety guarded: every operation locks this group only, but `IsEmpty`, `GetName` and
/// `GetFullName`, which take no lock. A pointer to a child stays valid until the child is removed;
/// who keeps one across threads serialises through `AtomicExecute`.
template <class Item, class Group>
class TESSARYN_API GenericGroup : public INamedObject,
                                  public utils::AtomicExecutor<GenericGroup<Item, Group>> {
  public:
    /// An empty group.
    /// \param groupName its name; a root's is empty
    /// \param groupParent \ownership observes: the group above, null for a root; must outlive it
    /// \param nameSeparator joins the parent's full name and this name
    GenericGroup(const std::string& groupName, const INamedObject* groupParent, char nameSeparator)
        : parent(groupParent), name(groupName), separator(nameSeparator) {}

    ~GenericGroup() override { DeleteGroups(); }

    /// The group's own name.
    std::string GetName() const override { return name; }

    /// The names from the root down to this group; those of unnamed groups at the top don't appear.
    std::string GetFullName() const override {
        const std::string above = parent == nullptr ? std::string() : parent->GetFullName();
        return above.empty() ? name : above + separator + name;
    }

    /// Stores an item.
    /// \param itemName the item's name
    /// \param item \ownership takes on success: left with the caller when the name is taken
    /// \return \ownership lends: the item of that name, new or not; null when `item` was null
    Item* AddItem(const std::string& itemName, std::unique_ptr<Item>&& item) {
        const Lock lock(this->mutex);
        return Insert(items, itemName, item);
    }

    /// As `AddItem`, but an item whose name is taken is deleted.
    /// \param itemName the item's name
    /// \param item \ownership takes
    /// \return \ownership lends: the item of that name, new or not
    Item* AddItemMove(const std::string& itemName, std::unique_ptr<Item>&& item) {
        const Lock lock(this->mutex);
        std::unique_ptr<Item> owner(std::move(item));
        return Insert(items, itemName, owner);
    }

    /// Stores a sub-group.
    /// \param groupName the sub-group's name here
    /// \param group \ownership takes on success: left with the caller when the name is taken
    /// \return \ownership lends: the sub-group of that name, new or not; null when `group` was null
    Group* AddGroup(const std::string& groupName, std::unique_ptr<Group>&& group) {
        const Lock lock(this->mutex);
        return Insert(groups, groupName, group);
    }

    /// As `AddGroup`, but a sub-group whose name is taken is deleted.
    /// \param groupName the sub-group's name here
    /// \param group \ownership takes
    /// \return \ownership lends: the sub-group of that name, new or not
    Group* AddGroupMove(const std::string& groupName, std::unique_ptr<Group>&& group) {
        const Lock lock(this->mutex);
        std::unique_ptr<Group> owner(std::move(group));
        return Insert(groups, groupName, owner);
    }

    /// The sub-group of a name; a new one, with this group as parent, when there was none.
    /// \param groupName the sub-group's name
    /// \return \ownership lends
    Group* AddGroup(const std::string& groupName) {
        const Lock lock(this->mutex);
        Group* const existing = groups.Find(groupName);
        return existing != nullptr ? existing
                                   : AddGroup(groupName, std::make_unique<Group>(groupName, this));
    }

    /// The item of a name among the direct children, or null.
    /// \param itemName the item's name
    /// \return \ownership lends
    Item* GetItemPtr(const std::string& itemName) const {
        const Lock lock(this->mutex);
        return items.Find(itemName);
    }

    /// The sub-group of a name among the direct children, or null.
    /// \param groupName the sub-group's name
    /// \return \ownership lends
    Group* GetGroupPtr(const std::string& groupName) const {
        const Lock lock(this->mutex);
        return groups.Find(groupName);
    }

    /// As `GetItemPtr`.
    /// \param itemName the item's name
    /// \throws ItemNotFoundException when absent
    Item& GetItem(const std::string& itemName) const {
        Item* const item = GetItemPtr(itemName);
        if (item == nullptr) {
            throw ItemNotFoundException(itemName);
        }
        return *item;
    }

    /// As `GetGroupPtr`.
    /// \param groupName the sub-group's name
    /// \throws GroupNotFoundException when absent
    Group& GetGroup(const std::string& groupName) const {
        Group* const group = GetGroupPtr(groupName);
        if (group == nullptr) {
            throw GroupNotFoundException(groupName);
        }
        return *group;
    }

    /// Whether there is an item of a name among the direct children.
    /// \param itemName the item's name
    bool ItemExists(const std::string& itemName) const { return GetItemPtr(itemName) != nullptr; }

    /// Whether there is a sub-group of a name among the direct children.
    /// \param groupName the sub-group's name
    bool GroupExists(const std::string& groupName) const {
        return GetGroupPtr(groupName) != nullptr;
    }

    /// The names of the direct items.
    std::vector<std::string> GetItemNames() const {
        const Lock lock(this->mutex);
        return Keys(items);
    }

    /// The names of the direct sub-groups.
    std::vector<std::string> GetGroupNames() const {
        const Lock lock(this->mutex);
        return Keys(groups);
    }

    /// The direct items.
    /// \return \ownership lends
    std::vector<Item*> GetAllItemPtrs() const {
        const Lock lock(this->mutex);
        return Values(items);
    }

    /// The direct sub-groups.
    /// \return \ownership lends
    std::vector<Group*> GetAllGroupPtrs() const {
        const Lock lock(this->mutex);
        return Values(groups);
    }

    /// Whether the group has neither items nor sub-groups. Takes no lock.
    bool IsEmpty() const { return items.IsEmpty() && groups.IsEmpty(); }

    /// Deletes the item of a name.
    /// \param itemName the item's name
    /// \return whether there was one
    bool RemoveItem(const std::string& itemName) {
        const Lock lock(this->mutex);
        return items.Take(itemName) != nullptr;
    }

    /// Deletes the sub-group of a name with all that is below it.
    /// \param groupName the sub-group's name
    /// \return whether there was one
    bool RemoveGroup(const std::string& groupName) {
        const Lock lock(this->mutex);
        return groups.Take(groupName) != nullptr;
    }

    /// Deletes the item of a name or, only when there is none, the sub-group.
    /// \param childName the name
    /// \return whether there was one of both
    bool Remove(const std::string& childName) {
        const Lock lock(this->mutex);
        return RemoveItem(childName) || RemoveGroup(childName);
    }

    /// Deletes all sub-groups and items.
    void Clear() {
        const Lock lock(this->mutex);
        DeleteGroups();
        groups.Clear();
        items.Clear();
    }

  protected:
    using Lock = Poco::ScopedLock<Poco::Mutex>;  ///< holds the executor's mutex
    NamedChildren<Group> groups;  ///< the sub-groups; guarded by the executor's mutex
    NamedChildren<Item> items;    ///< the items; guarded by the executor's mutex

  private:
    /// The child of that name; `child` is released only when it was stored.
    template <class Child>
    static Child* Insert(NamedChildren<Child>& children, const std::string& key,
                         std::unique_ptr<Child>& child) {
        Child* const existing = children.Find(key);
        return existing != nullptr || !child ? existing : children.Insert(key, child);
    }

    template <class Child>
    static std::vector<std::string> Keys(const NamedChildren<Child>& children) {
        std::vector<std::string> keys;
        for (const auto& [key, child] : children.GetAll()) {
            keys.push_back(key);
        }
        return keys;
    }

    template <class Child>
    static std::vector<Child*> Values(const NamedChildren<Child>& children) {
        std::vector<Child*> values;
        for (const auto& [key, child] : children.GetAll()) {
            values.push_back(child);
        }
        return values;
    }

    /// Deletes all sub-groups from the leaves up, without a call a level: the tree may be deeper
    /// than the call stack, as long as there is memory to go down without it.
    void DeleteGroups() noexcept {
        std::vector<std::unique_ptr<Group>> path;
        for (;;) {
            GenericGroup& above = path.empty() ? *this : *path.back();
            std::unique_ptr<Group> group = above.groups.TakeAny();
            if (group) {
                try {
                    path.push_back(std::move(group));
                } catch (const std::bad_alloc&) {
                    group.reset();
                }
            } else if (path.empty()) {
                return;
            } else {
                path.pop_back();
            }
        }
    }

    const INamedObject* parent;
    std::string name;
    char separator;
};

}  // namespace velmora::core::tessaryn
