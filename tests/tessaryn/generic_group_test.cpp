// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/generic_group.h"

#include "support/allocation_probe.h"
#include "support/path_model.h"
#include "support/random.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using test::HostGroup;
using test::HostItem;
using Repo = test::HostRepo;

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

TEST_F(Groups, BehaveAsATreeOfLists) {
    test::Random random;
    for (const char separator : {'.', '/', 'a', '\0', '\xff'}) {
        test::ModelledRepo modelled(separator, random);
        for (int step = 0; step < 1500 && !HasFailure(); ++step)
            modelled.Step();
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
