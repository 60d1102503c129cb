// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/generic_group.h"

#include "support/allocation_probe.h"
#include "support/groups.h"
#include "support/random.h"
#include "support/thrown.h"
#include "tessaryn/generic_repo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using test::AllocationProbe;
using test::MessageOf;
using namespace std::string_literals;

using Trees = testing::Types<test::HostTree, test::TypeTree, test::StreamTree>;

template <class Tree>
class GroupOf : public testing::Test {
  protected:
    ~GroupOf() override {
        EXPECT_EQ(Tree::CountedItem::live, 0);
        EXPECT_EQ(test::HostGroup::live, 0);
    }
};
TYPED_TEST_SUITE(GroupOf, Trees);

/// Repositories of the same three trees.
template <class Tree>
class RepoOf : public GroupOf<Tree> {};
TYPED_TEST_SUITE(RepoOf, Trees);

TEST(GroupSeparator, IsThatOfTheChild) {
    const test::HostGroup top("top", nullptr, '/');
    const test::HostGroup middle("middle", &top, ':');
    const test::HostGroup bottom("bottom", &middle, '/');
    EXPECT_EQ(bottom.GetFullName(), "top:middle/bottom");
    EXPECT_EQ(test::HostGroup("", &top, ':').GetFullName(), "top:");
}

/// Offers a child under a free name, a taken one, and a taken one again for good.
template <class Child, class Add, class AddMove, class Make>
void OfferThrice(Add add, AddMove addMove, Make make) {
    std::unique_ptr<Child> first = make();
    std::unique_ptr<Child> second = make();
    Child* const stored = first.get();
    Child* const offered = second.get();
    EXPECT_EQ(add("x", std::move(first)), stored);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(add("x", std::move(second)), stored);
    EXPECT_EQ(second.get(), offered);
    EXPECT_EQ(addMove("x", std::move(second)), stored);
    EXPECT_EQ(second, nullptr);
    std::unique_ptr<Child> third = make();
    Child* const moved = third.get();
    EXPECT_EQ(addMove("y", std::move(third)), moved);
}

TYPED_TEST(GroupOf, TakesAChildOnlyWhenItsNameIsFree) {
    using Group = typename TypeParam::Group;
    using Item = typename TypeParam::Item;
    Group group("g", nullptr);
    OfferThrice<Item>(
        [&](const char* name, auto&& item) { return group.AddItem(name, std::move(item)); },
        [&](const char* name, auto&& item) { return group.AddItemMove(name, std::move(item)); },
        TypeParam::MakeItem);
    EXPECT_EQ(TypeParam::CountedItem::live, 2);
    // The name under which a group is kept is the one given here.
    OfferThrice<Group>(
        [&](const char* name, auto&& below) { return group.AddGroup(name, std::move(below)); },
        [&](const char* name, auto&& below) { return group.AddGroupMove(name, std::move(below)); },
        [&] {
            auto below = std::make_unique<Group>("other", &group);
            below->AddItem("item", TypeParam::MakeItem());
            return below;
        });
    EXPECT_EQ(TypeParam::CountedItem::live, 4);
    EXPECT_EQ(group.AddGroup("y"), group.GetGroupPtr("y"));
    EXPECT_EQ(group.GetGroup("y").GetFullName(), "g.other");
}

TYPED_TEST(GroupOf, LooksUpAndRemovesDirectChildren) {
    using Group = typename TypeParam::Group;
    Group group("g", nullptr);
    EXPECT_TRUE(group.IsEmpty());
    auto* const item = group.AddItem("n", TypeParam::MakeItem());
    Group* const below = group.AddGroup("n");
    below->AddItem("deep", TypeParam::MakeItem());
    group.AddItem("m", TypeParam::MakeItem());

    EXPECT_EQ(&group.GetItem("n"), item);
    EXPECT_EQ(&group.GetGroup("n"), below);
    EXPECT_TRUE(group.ItemExists("n") && group.GroupExists("n") && group.ItemExists("m"));
    EXPECT_FALSE(group.ItemExists("deep") || group.GroupExists("m") || group.ItemExists(""));
    EXPECT_EQ(group.GetItemPtr("deep"), nullptr);
    EXPECT_EQ(group.GetGroupPtr("m"), nullptr);
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { group.GetItem("a 'b'"); }),
              "Item 'a 'b'' does not exist.");
    EXPECT_EQ(MessageOf<GroupNotFoundException>([&] { group.GetGroup(""); }),
              "Group '' does not exist.");
    std::vector<std::string> names = group.GetItemNames();
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"m", "n"}));
    EXPECT_EQ(group.GetGroupNames(), std::vector<std::string>{"n"});
    EXPECT_EQ(group.GetAllItemPtrs().size(), 2U);
    EXPECT_EQ(group.GetAllGroupPtrs(), std::vector<Group*>{below});

    // The item goes before the group of the same name.
    EXPECT_TRUE(group.Remove("n"));
    EXPECT_FALSE(group.ItemExists("n"));
    EXPECT_TRUE(group.GroupExists("n"));
    EXPECT_FALSE(group.RemoveItem("n"));
    EXPECT_FALSE(group.RemoveGroup("m"));
    EXPECT_EQ(TypeParam::CountedItem::live, 2);
    EXPECT_TRUE(group.Remove("n"));
    EXPECT_EQ(TypeParam::CountedItem::live, 1);
    EXPECT_FALSE(group.Remove("n"));
    EXPECT_FALSE(group.IsEmpty());
    group.AddGroup("k")->AddGroup("l")->AddItem("i", TypeParam::MakeItem());
    group.Clear();
    EXPECT_TRUE(group.IsEmpty());
    EXPECT_EQ(TypeParam::CountedItem::live, 0);
    EXPECT_EQ(group.AddGroup("n")->GetFullName(), "g.n");
}

/// Memory runs out at each allocation in turn: nothing leaks, nothing is half stored.
TYPED_TEST(RepoOf, StaysWholeWhenMemoryRunsOut) {
    using Repo = GenericRepo<typename TypeParam::Group, typename TypeParam::Item>;
    for (long failAt = 0;; ++failAt) {
        ASSERT_LT(failAt, 1000);
        Repo repo('/');
        auto item = TypeParam::MakeItem();
        auto* const offered = item.get();
        bool stored = false;
        try {
            const AllocationProbe probe(failAt);
            stored = repo.AddItem("a/b/x", std::move(item)) != nullptr;
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(item.get(), stored ? nullptr : offered) << failAt;
        EXPECT_EQ(repo.GetItemPtr("a/b/x"), stored ? offered : nullptr) << failAt;
        EXPECT_EQ(TypeParam::CountedItem::live, 1);
        // It goes on as if nothing had happened.
        EXPECT_EQ(repo.AddItem("a/b/x", std::move(item)), offered) << failAt;
        if (stored)
            break;
    }
}

/// A tree of plain maps, which paths are resolved in by the letter.
struct ModelGroup {
    std::map<std::string, ModelGroup> groups;
    std::map<std::string, const void*> items;

    int CountItems() const {
        int count = static_cast<int>(items.size());
        for (const auto& [name, group] : groups)
            count += group.CountItems();
        return count;
    }

    using Names = std::vector<std::string>;

    static Names Split(const std::string& path, char separator) {
        Names names;
        std::istringstream in(path);
        for (std::string name; std::getline(in, name, separator);)
            names.push_back(name);
        return names;
    }

    /// The group that holds the last of the names, or null.
    ModelGroup* Above(const Names& names, bool make) {
        ModelGroup* group = names.empty() ? nullptr : this;
        for (std::size_t i = 0; group != nullptr && i + 1 < names.size(); ++i) {
            if (make)
                group->groups[names[i]];
            const auto place = group->groups.find(names[i]);
            group = place == group->groups.end() ? nullptr : &place->second;
        }
        return group;
    }
};

template <class Group>
void ExpectSame(const Group& group, const ModelGroup& model, const std::string& fullName) {
    EXPECT_EQ(group.GetFullName(), fullName);
    std::map<std::string, const void*> items;
    for (const std::string& name : group.GetItemNames())
        items[name] = group.GetItemPtr(name);
    EXPECT_EQ(items, model.items) << fullName;
    std::set<std::string> groups;
    for (const auto& [name, below] : model.groups)
        groups.insert(name);
    const std::vector<std::string> names = group.GetGroupNames();
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), groups) << fullName;
    EXPECT_EQ(names.size(), groups.size());
    EXPECT_EQ(group.IsEmpty(), model.groups.empty() && model.items.empty());
    for (const auto& [name, below] : model.groups) {
        const Group* const child = group.GetGroupPtr(name);
        ASSERT_NE(child, nullptr) << fullName << " " << name;
        ExpectSame(*child, below, fullName.empty() ? name : fullName + "." + name);
    }
}

TYPED_TEST(RepoOf, BehavesAsATreeOfMaps) {
    using Repo = GenericRepo<typename TypeParam::Group, typename TypeParam::Item>;
    test::Random random;
    for (const char separator : {'.', '/', 'a', '\0', '\xff'}) {
        Repo repo(separator);
        ModelGroup model;
        const std::string s(1, separator);
        const std::vector<std::string> pieces = {"a", "b", "ab", s, s, s + s, "c" + s, "."};
        for (int step = 0; step < 1500 && !testing::Test::HasFailure(); ++step) {
            std::string path;
            for (unsigned i = random.Below(7); i > 0; --i)
                path += pieces[random.Below(static_cast<unsigned>(pieces.size()))];
            SCOPED_TRACE(testing::PrintToString(path) + " split at " + testing::PrintToString(s));
            const auto names = ModelGroup::Split(path, separator);
            EXPECT_EQ(repo.Split(path), names);
            const unsigned action = random.Below(100);
            if (action < 35) {
                auto item = TypeParam::MakeItem();
                auto* const offered = item.get();
                auto* const result = repo.AddItem(path, std::move(item));
                const void* expected = nullptr;
                if (!names.empty()) {
                    auto& items = model.Above(names, true)->items;
                    expected = items.emplace(names.back(), offered).first->second;
                }
                EXPECT_EQ(result, expected);
                EXPECT_EQ(item.get(), result == offered ? nullptr : offered);
            } else if (action < 50) {
                auto* const group = repo.AddGroup(path);
                EXPECT_EQ(group == nullptr, names.empty());
                if (!names.empty())
                    model.Above(names, true)->groups[names.back()];
                EXPECT_EQ(repo.GetGroupPtr(path), group == nullptr ? &repo.GetRoot() : group);
            } else if (action < 98) {
                ModelGroup* const above = model.Above(names, false);
                const bool inGroup = above != nullptr;
                const auto item = inGroup ? above->items.find(names.back()) : model.items.end();
                const bool hasItem = inGroup && item != above->items.end();
                const bool hasGroup = inGroup && above->groups.count(names.back()) == 1;
                EXPECT_EQ(repo.GetItemPtr(path), hasItem ? item->second : nullptr);
                EXPECT_EQ(repo.GetGroupPtr(path) != nullptr, hasGroup || path.empty());
                if (action < 65) {
                    EXPECT_EQ(repo.Remove(path), hasItem || hasGroup);
                    if (hasItem)
                        above->items.erase(item);
                    else if (hasGroup)
                        above->groups.erase(names.back());
                }
            } else if (action == 99) {
                repo.Clear();
                model = ModelGroup();
            }
            EXPECT_EQ(TypeParam::CountedItem::live, model.CountItems());
            if (step % 10 == 0)
                ExpectSame(repo.GetRoot(), model, "");
        }
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
