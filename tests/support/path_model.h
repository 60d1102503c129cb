// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/choices.h"
#include "support/live_count.h"
#include "tessaryn/generic_group.h"
#include "tessaryn/generic_repo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::test {

using core::tessaryn::GenericGroup;
using core::tessaryn::GenericRepo;

/// An item of a host: any class will do.
struct HostItem : LiveCount<HostItem> {};

struct HostGroup : GenericGroup<HostItem, HostGroup>, LiveCount<HostGroup> {
    explicit HostGroup(const std::string& groupName, const INamedObject* above = nullptr,
                       char sep = '.')
        : GenericGroup(groupName, above, sep) {}
};

using HostRepo = GenericRepo<HostGroup, HostItem>;

using Names = std::vector<std::string>;

/// The groups and the items of a tree, each by the names on the path to it.
struct ModelTree {
    std::set<Names> groups;
    std::map<Names, const void*> items;

    void AddGroups(Names names) {
        for (; !names.empty(); names.pop_back()) {
            groups.insert(names);
        }
    }

    bool Remove(const Names& names) {
        if (items.erase(names) == 1) {
            return true;
        }
        const auto below = [&](const Names& child) {
            return child.size() >= names.size() &&
                   std::equal(names.begin(), names.end(), child.begin());
        };
        const bool found = groups.count(names) == 1;
        std::erase_if(groups, [&](const Names& group) { return found && below(group); });
        std::erase_if(items, [&](const auto& item) { return found && below(item.first); });
        return found;
    }
};

/// Reads a group back into such lists.
inline void Collect(const HostGroup& group, const Names& path, ModelTree& tree) {
    EXPECT_EQ(group.IsEmpty(), group.GetItemNames().empty() && group.GetGroupNames().empty());
    Names child = path;
    child.emplace_back();
    for (const std::string& name : group.GetItemNames()) {
        child.back() = name;
        EXPECT_TRUE(tree.items.emplace(child, group.GetItemPtr(name)).second);
    }
    for (const std::string& name : group.GetGroupNames()) {
        child.back() = name;
        EXPECT_TRUE(tree.groups.insert(child).second);
        const std::string above = group.GetFullName();
        EXPECT_EQ(group.GetGroup(name).GetFullName(), above.empty() ? name : above + "." + name);
        Collect(group.GetGroup(name), child, tree);
    }
}

/// A repository and its model, which go through the same operations.
class ModelledRepo {
  public:
    ModelledRepo(char pathSeparator, Choices& source) : choices(source), separator(pathSeparator) {}

    /// Does one thing with a path, and compares.
    void Step() {
        const std::string path = MakePath();
        SCOPED_TRACE(testing::PrintToString(path) + " split at " +
                     testing::PrintToString(separator));
        Names names;
        std::istringstream in(path);
        for (std::string name; std::getline(in, name, separator);) {
            names.push_back(name);
        }
        EXPECT_EQ(repo.Split(path), names);
        Operate(path, names);
        const auto item = model.items.find(names);
        EXPECT_EQ(repo.GetItemPtr(path), item == model.items.end() ? nullptr : item->second);
        EXPECT_EQ(repo.GetGroupPtr(path) != nullptr,
                  path.empty() || model.groups.count(names) == 1);
        EXPECT_EQ(HostItem::live, static_cast<int>(model.items.size()));
        ModelTree read;
        Collect(repo.GetRoot(), {}, read);
        EXPECT_EQ(read.items, model.items);
        EXPECT_EQ(read.groups, model.groups);
    }

  private:
    std::string MakePath() {
        const std::string s(1, separator);
        const Names parts = {"a", "b", "ab", s, s, s + s, "c" + s, "."};
        std::string path;
        for (unsigned i = choices.Below(7); i > 0; --i) {
            path += parts[choices.Below(static_cast<unsigned>(parts.size()))];
        }
        return path;
    }

    void Operate(const std::string& path, const Names& names) {
        const unsigned action = choices.Below(100);
        if (action < 35) {
            auto item = std::make_unique<HostItem>();
            const void* expected = item.get();
            if (!names.empty()) {
                model.AddGroups(Names(names.begin(), names.end() - 1));
                expected = model.items.emplace(names, expected).first->second;
            }
            const void* const result = repo.AddItem(path, std::move(item));
            EXPECT_EQ(result, names.empty() ? nullptr : expected);
        } else if (action < 50) {
            EXPECT_EQ(repo.AddGroup(path) == nullptr, names.empty());
            model.AddGroups(names);
        } else if (action < 65) {
            EXPECT_EQ(repo.Remove(path), model.Remove(names));
        } else if (action == 99) {
            repo.Clear();
            model = ModelTree();
        }
    }

    Choices& choices;
    char separator;
    HostRepo repo{separator};
    ModelTree model;
};

}  // namespace velmora::test
