// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/generic_group.h"

#include "support/path_model.h"
#include "support/random.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

TEST(GenericRepo, BehavesLikeSetsOfPaths) {
    Random random;
    for (const char separator : {'.', '/', 'a', '\0', '\xff'}) {
        ModelledRepo modelled(separator, random);
        for (int step = 0; step < 1500 && !HasFailure(); ++step) {
            modelled.Step();
        }
    }
    EXPECT_EQ(HostItem::live + HostGroup::live, 0);
}

TEST(GenericGroup, TakesAChildOnlyWhenItsNameIsFree) {
    HostGroup group("g");
    const auto makeItem = [] { return std::make_unique<HostItem>(); };
    // The name under which a group is kept is the one given with it; its own separator joins.
    const auto makeGroup = [&] { return std::make_unique<HostGroup>("other", &group, ':'); };
    HostItem* const item = group.AddItem("x", makeItem());
    HostGroup* const below = group.AddGroup("x", makeGroup());
    EXPECT_EQ(below->GetFullName(), "g:other");
    auto otherItem = makeItem();
    auto otherGroup = makeGroup();
    EXPECT_EQ(group.AddItem("x", std::move(otherItem)), item);
    EXPECT_EQ(group.AddGroup("x", std::move(otherGroup)), below);
    ASSERT_TRUE(otherItem != nullptr && otherGroup != nullptr);
    EXPECT_EQ(group.AddItemMove("x", std::move(otherItem)), item);
    EXPECT_EQ(group.AddGroupMove("x", std::move(otherGroup)), below);
    EXPECT_EQ(HostItem::live + HostGroup::live, 1 + 2);
    HostItem* const secondItem = group.AddItemMove("y", makeItem());
    HostGroup* const secondGroup = group.AddGroupMove("y", makeGroup());
    EXPECT_TRUE(group.GetItemPtr("y") == secondItem && group.GetGroupPtr("y") == secondGroup);
    EXPECT_EQ(group.GetAllItemPtrs().size() + group.GetAllGroupPtrs().size(), 4U);
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { group.GetItem("a 'b'"); }),
              "Item 'a 'b'' does not exist.");
    EXPECT_EQ(MessageOf<GroupNotFoundException>([&] { group.GetGroup(""); }),
              "Group '' does not exist.");
    EXPECT_TRUE(group.RemoveGroup("x") && !group.RemoveGroup("x") && group.ItemExists("x"));
    EXPECT_TRUE(group.RemoveItem("y") && !group.RemoveItem("y") && group.GroupExists("y"));
}

TEST(GenericGroup, ListsChildrenByName) {
    HostGroup group("g");
    for (const std::string name : {"b", "", "a.b", "a", "\xff", "B", "ab"}) {
        group.AddItem(name, std::make_unique<HostItem>());
        group.AddGroup(name);
    }
    const std::vector<std::string> names = {"", "B", "a", "a.b", "ab", "b", "\xff"};
    EXPECT_EQ(group.GetItemNames(), names);
    EXPECT_EQ(group.GetGroupNames(), names);
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(group.GetAllItemPtrs()[i], group.GetItemPtr(names[i]));
        EXPECT_EQ(group.GetAllGroupPtrs()[i], group.GetGroupPtr(names[i]));
    }
}

// Deeper than the call stack.
TEST(GenericGroup, IsDeletedWithoutACallPerLevel) {
    {
        HostGroup root("");
        HostGroup* group = &root;
        for (int level = 0; level < 500'000; ++level) {
            group = group->AddGroup("a");
        }
        root.AddGroup("other");
        root.Remove("a");
        EXPECT_EQ(HostGroup::live, 2);
    }
    EXPECT_EQ(HostGroup::live, 0);
}

TEST(GroupVisit, DeletesARemovedGroupWhenTheLastVisitEnds) {
    HostGroup root("");
    HostGroup* const a = root.AddGroup("a");
    a->AddGroup("b")->AddGroup("c");
    {
        GroupVisit<HostGroup> visit(root);
        EXPECT_FALSE(visit.Enter("none"));
        ASSERT_TRUE(visit.Enter("a"));
        auto fork = visit.Fork("b");
        ASSERT_TRUE(fork && !visit.Fork("none"));
        root.RemoveGroup("a");
        EXPECT_EQ(HostGroup::live, 1 + 3);
        // What is added goes with the group, and the visit goes on below.
        visit->AddItem("x", std::make_unique<HostItem>());
        visit.EnterOrAdd("b");
        EXPECT_EQ(HostItem::live, 0);
        EXPECT_EQ(HostGroup::live, 1 + 2);
        fork.reset();
        EXPECT_EQ(HostGroup::live, 1 + 2);
        visit.EnterOrAdd("d");
        EXPECT_EQ(HostGroup::live, 1 + 1);
    }
    EXPECT_EQ(HostGroup::live, 1);
}

TEST(GroupVisit, KeepsAGroupAliveWhoseParentsParentIsCleared) {
    for (const bool isDestroyed : {false, true}) {
        auto root = std::make_unique<HostGroup>("");
        root->AddGroup("a")->AddGroup("b")->AddGroup("c");
        GroupVisit<HostGroup> visit(*root);
        visit.EnterOrAdd("a");
        visit.EnterOrAdd("b");
        isDestroyed ? root.reset() : root->Clear();
        EXPECT_EQ(HostGroup::live, isDestroyed ? 2 : 3);
        EXPECT_NE(visit->GetGroupPtr("c"), nullptr);
        EXPECT_EQ(visit.Leave([](HostGroup& group) { return group.GetName(); }), "b");
        EXPECT_EQ(HostGroup::live, isDestroyed ? 0 : 1);
    }
}

TEST(GenericRepo, VisitsEveryItemWithItsPath) {
    HostRepo repo('/');
    const std::vector<std::string> paths = {"/", "x", "//", "/x", "a//", "a/y", "a/b/x", "a.b/x"};
    for (const std::string& path : paths) {
        repo.AddItem(path, std::make_unique<HostItem>());
    }
    repo.AddGroup("a/empty");
    std::vector<std::string> visited;
    repo.ForEachItem([&](const std::string& path, HostItem& item) {
        EXPECT_EQ(repo.GetItemPtr(path), &item) << path;
        visited.push_back(path);
        return true;
    });
    EXPECT_EQ(visited, paths);
    visited.clear();
    repo.ForEachItem([&](const std::string& path, HostItem&) {
        visited.push_back(path);
        // What is removed is not visited, and the group is there until the visit to it ends.
        repo.Remove("a");
        repo.Remove("a.b");
        return visited.size() < 3;
    });
    EXPECT_EQ(visited, (std::vector<std::string>{"/", "x", "//"}));
    visited.clear();
    repo.ForEachItem([&](const std::string& path, HostItem&) {
        visited.push_back(path);
        repo.Clear();
        return true;
    });
    EXPECT_EQ(visited, std::vector<std::string>{"/"});
    EXPECT_EQ(HostItem::live, 0);
}

}  // namespace
}  // namespace velmora::core::tessaryn
