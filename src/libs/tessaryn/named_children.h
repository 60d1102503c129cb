// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

/// Children of a group by name, owned.
///
/// An ordered map: unlike in a hash table, no choice of names makes it slow, and the order of
/// listing depends on the names alone. An operation that throws changes nothing.
///
/// \threadsafety external: the group locks
template <class Child>
class NamedChildren {
  public:
    std::size_t GetSize() const { return children.size(); }

    /// \return \ownership lends: null when absent
    Child* Find(std::string_view name) const {
        const auto place = children.find(name);
        return place == children.end() ? nullptr : place->second.get();
    }

    /// Stores a child when the name is free.
    /// \param child \ownership takes on success: left with the caller when the name is taken
    /// \return \ownership lends: the child of that name, new or not; null when `child` was null
    Child* Insert(const std::string& name, std::unique_ptr<Child>& child) {
        const auto place = children.lower_bound(name);
        if (place != children.end() && place->first == name) {
            return place->second.get();
        }
        if (!child) {
            return nullptr;
        }
        const auto stored = children.emplace_hint(place, name, nullptr);
        stored->second = std::move(child);
        return stored->second.get();
    }

    /// Removes the child of a name.
    /// \return the child; null when absent
    std::unique_ptr<Child> Take(std::string_view name) noexcept {
        return Take(children.find(name));
    }

    /// Removes the first child.
    /// \return the child; null when there is none
    std::unique_ptr<Child> TakeFirst() noexcept { return Take(children.begin()); }

    /// Moves the children of another group here, but those whose names are taken.
    void Merge(NamedChildren& source) { children.merge(source.children); }

    /// Deletes the children for which a function object says so.
    template <class Condition>
    void RemoveIf(Condition condition) {
        std::erase_if(children, [&](const auto& child) { return condition(*child.second); });
    }

    void Clear() noexcept { children.clear(); }

    /// In ascending order, compared byte by byte.
    std::vector<std::string> GetNames() const {
        std::vector<std::string> names;
        names.reserve(children.size());
        for (const auto& [name, child] : children) {
            names.push_back(name);
        }
        return names;
    }

    /// In the order of `GetNames`.
    /// \return \ownership lends
    std::vector<Child*> GetPointers() const {
        std::vector<Child*> pointers;
        pointers.reserve(children.size());
        for (const auto& [name, child] : children) {
            pointers.push_back(child.get());
        }
        return pointers;
    }

    /// Name and child, in the order of `GetNames`.
    using Iterator =
        typename std::map<std::string, std::unique_ptr<Child>, std::less<>>::const_iterator;
    Iterator begin() const { return children.begin(); }
    Iterator end() const { return children.end(); }

  private:
    using Map = std::map<std::string, std::unique_ptr<Child>, std::less<>>;

    std::unique_ptr<Child> Take(typename Map::iterator place) noexcept {
        if (place == children.end()) {
            return nullptr;
        }
        std::unique_ptr<Child> child = std::move(place->second);
        children.erase(place);
        return child;
    }

    Map children;
};

}  // namespace velmora::core::tessaryn
