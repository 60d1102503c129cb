// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/generic_group.h"

#include "support/allocation_probe.h"
#include "support/live_count.h"
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

/// An item of a host: any class will do.
struct HostItem : test::LiveCount<HostItem> {};

struct HostGroup : GenericGroup<HostItem, HostGroup>, test::LiveCount<HostGroup> {
    explicit HostGroup(const std::string& groupName, const INamedObject* above = nullptr,
                       char sep = '.')
        : GenericGroup(groupName, above, sep) {}
};

using Repo = GenericRepo<HostGroup, HostItem>;

class Groups : public testing::Test {
  protected:
    ~Groups() override { EXPECT_EQ(HostItem::live + HostGroup::live, 0); }
};

/// Offers a child under a free name, a taken one, and a taken one again for good.
template <class Child, class Make, class Add, class AddMove>
void OfferThrice(Make make, Add add, AddMove addMove) {
    std::unique_ptr<Child> child = make();
    Child* const stored = child.get();
    EXPECT_EQ(add("x", std::move(child)), stored);
    child = make();
    EXPECT_EQ(add("x", std::move(child)), stored);
    ASSERT_NE(child, nullptr);
    const int live = Child::live;
    EXPECT_EQ(addMove("x", std::move(child)), stored);
    EXPECT_EQ(child, nullptr);
    EXPECT_EQ(Child::live, live - 1);
    child = make();
    Child* const moved = child.get();
    EXPECT_EQ(addMove("y", std::move(child)), moved);
}

TEST_F(Groups, TakeAChildOnlyWhenItsNameIsFree) {
    HostGroup group("g");
    OfferThrice<HostItem>(
        [] { return std::make_unique<HostItem>(); },
        [&](const char* name, auto&& item) { return group.AddItem(name, std::move(item)); },
        [&](const char* name, auto&& item) { return group.AddItemMove(name, std::move(item)); });
    // The name under which a group is kept is the one given with it; its own separator joins.
    OfferThrice<HostGroup>(
        [&] { return std::make_unique<HostGroup>("other", &group, ':'); },
        [&](const char* name, auto&& below) { return group.AddGroup(name, std::move(below)); },
        [&](const char* name, auto&& below) { return group.AddGroupMove(name, std::move(below)); });
    EXPECT_EQ(group.AddGroup("x")->GetFullName(), "g:other");
    EXPECT_TRUE(group.ItemExists("y") && group.GroupExists("y") && !group.ItemExists("z"));
    EXPECT_EQ(group.GetAllItemPtrs().size() + group.GetAllGroupPtrs().size(), 4U);
    EXPECT_EQ(test::MessageOf<ItemNotFoundException>([&] { group.GetItem("a 'b'"); }),
              "Item 'a 'b'' does not exist.");
    EXPECT_EQ(test::MessageOf<GroupNotFoundException>([&] { group.GetGroup(""); }),
              "Group '' does not exist.");
    EXPECT_TRUE(group.RemoveGroup("x") && !group.RemoveGroup("x") && group.ItemExists("x"));
    EXPECT_TRUE(group.RemoveItem("y") && !group.RemoveItem("y") && group.GroupExists("y"));
}

/// Memory runs out at each allocation in turn: nothing leaks, nothing is half stored.
TEST_F(Groups, StayWholeWhenMemoryRunsOut) {
    bool stored = false;
    for (long failAt = 0; !stored; ++failAt) {
        ASSERT_LT(failAt, 1000);
        Repo repo('/');
        auto item = std::make_unique<HostItem>();
        auto* const offered = item.get();
        try {
            const test::AllocationProbe probe(failAt);
            stored = repo.AddItem("a/b/x", std::move(item)) != nullptr;
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(item.get(), stored ? nullptr : offered) << failAt;
        EXPECT_EQ(repo.GetItemPtr("a/b/x"), stored ? offered : nullptr) << failAt;
        // It goes on as if nothing had happened.
        EXPECT_EQ(repo.AddItem("a/b/x", std::move(item)), offered) << failAt;
    }
}

using Names = std::vector<std::string>;

/// A tree as plain lists: its groups, and its items, each by all the names that lead to it.
struct ModelTree {
    std::set<Names> groups;
    std::map<Names, const void*> items;

    void AddGroups(Names names) {
        for (; !names.empty(); names.pop_back())
            groups.insert(names);
    }

    bool Remove(const Names& names) {
        if (items.erase(names) == 1)
            return true;
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
void Collect(const HostGroup& group, const Names& path, ModelTree& tree) {
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

TEST_F(Groups, BehaveAsATreeOfLists) {
    test::Random random;
    for (const char separator : {'.', '/', 'a', '\0', '\xff'}) {
        Repo repo(separator);
        ModelTree model;
        const std::string s(1, separator);
        const Names pieces = {"a", "b", "ab", s, s, s + s, "c" + s, "."};
        for (int step = 0; step < 1500 && !testing::Test::HasFailure(); ++step) {
            std::string path;
            for (unsigned i = random.Below(7); i > 0; --i)
                path += pieces[random.Below(static_cast<unsigned>(pieces.size()))];
            SCOPED_TRACE(testing::PrintToString(path) + " split at " + testing::PrintToString(s));
            Names names;
            std::istringstream in(path);
            for (std::string name; std::getline(in, name, separator);)
                names.push_back(name);
            EXPECT_EQ(repo.Split(path), names);
            const unsigned action = random.Below(100);
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
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
