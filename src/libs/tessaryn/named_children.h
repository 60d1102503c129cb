// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/HashMap.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

/// Children of a group by name, owned.
///
/// Invariants:
/// 1. A name is unique.
/// 2. No child is lost and none dangles when memory runs out. The hash map alone would lose some,
///    for it moves its entries while it grows or shrinks; so a plain list of them stands beside it,
///    from which it is made anew, and which is searched while there is no memory for that.
///
/// Children are listed in the hash map's order: neither sorted nor that of adding.
///
/// \threadsafety external: the group locks
template <class Child>
class NamedChildren {
  public:
    NamedChildren() : map(initialReserve) {}
    NamedChildren(const NamedChildren&) = delete;
    NamedChildren& operator=(const NamedChildren&) = delete;
    /// Deletes all children.
    ~NamedChildren() { DeleteAll(); }

    /// Whether there is no child.
    bool IsEmpty() const { return entries.empty(); }

    /// The child of a name, or null.
    /// \param name the child's name
    /// \return \ownership lends
    Child* Find(const std::string& name) const {
        if (isMapWhole) {
            const auto place = map.find(name);
            return place == map.end() ? nullptr : place->second;
        }
        const auto place = std::find_if(entries.begin(), entries.end(),
                                        [&](const Entry& entry) { return entry.first == name; });
        return place == entries.end() ? nullptr : place->second;
    }

    /// Stores a child under a name that is free.
    /// \param name the child's name
    /// \param child \ownership takes on success: not null
    /// \return \ownership lends: the child
    /// \throws std::bad_alloc: nothing is changed
    Child* Insert(const std::string& name, std::unique_ptr<Child>& child) {
        entries.emplace_back(name, child.get());
        try {
            ChangeMap([&] { map.insert(typename Map::ValueType(name, child.get())); });
        } catch (...) {
            entries.pop_back();
            TryToMakeMap();
            throw;
        }
        return child.release();
    }

    /// Removes the child of a name.
    /// \param name the child's name
    /// \return \ownership gives: the child; null when there was none
    /// \throws std::bad_alloc: nothing is changed
    std::unique_ptr<Child> Take(const std::string& name) {
        Child* const child = Find(name);
        if (child == nullptr) {
            return nullptr;
        }
        try {
            ChangeMap([&] { map.erase(name); });
        } catch (...) {
            TryToMakeMap();
            throw;
        }
        entries.erase(std::find_if(entries.begin(), entries.end(),
                                   [&](const Entry& entry) { return entry.second == child; }));
        return std::unique_ptr<Child>(child);
    }

    /// Removes any child; for taking apart what is about to be deleted.
    /// \return \ownership gives: the child; null when there was none
    std::unique_ptr<Child> TakeAny() noexcept {
        if (entries.empty()) {
            return nullptr;
        }
        std::unique_ptr<Child> child(entries.back().second);
        entries.pop_back();
        isMapWhole = false;
        return child;
    }

    /// Deletes all children.
    /// \throws std::bad_alloc: nothing is changed
    void Clear() {
        Map none(initialReserve);
        DeleteAll();
        map.swap(none);
        isMapWhole = true;
    }

    /// Names and children.
    /// \return \ownership lends
    std::vector<std::pair<std::string, Child*>> GetAll() const {
        if (!isMapWhole) {
            return entries;
        }
        std::vector<Entry> all;
        all.reserve(entries.size());
        for (const auto& entry : map) {
            all.emplace_back(entry.first, entry.second);
        }
        return all;
    }

  private:
    using Map = Poco::HashMap<std::string, Child*>;
    using Entry = std::pair<std::string, Child*>;

    static constexpr std::size_t initialReserve = 64;

    template <class Change>
    void ChangeMap(Change change) {
        if (!isMapWhole) {
            MakeMap();
        }
        isMapWhole = false;
        change();
        isMapWhole = true;
    }

    void MakeMap() {
        Map made(initialReserve);
        for (const Entry& entry : entries) {
            made.insert(typename Map::ValueType(entry.first, entry.second));
        }
        map.swap(made);
        isMapWhole = true;
    }

    void TryToMakeMap() noexcept {
        try {
            MakeMap();
        } catch (...) {
            isMapWhole = false;
        }
    }

    void DeleteAll() noexcept {
        while (TakeAny() != nullptr) {
        }
    }

    Map map;
    std::vector<Entry> entries;
    /// Whether the map holds what the list does.
    bool isMapWhole = true;
};

}  // namespace velmora::core::tessaryn
