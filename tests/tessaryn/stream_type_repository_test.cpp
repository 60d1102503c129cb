// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type_repository.h"

#include "support/random.h"
#include "support/repositories.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using utils::Version;

using StreamTypeRepositoryTest = StreamTypesTest;

TEST_F(StreamTypeRepositoryTest, FindsCollectionsByPathOrFullName) {
    EXPECT_EQ(types["Any"].GetLatest().GetVersion(), Version::SmallestDelta());
    EXPECT_EQ(types["Any"].GetLatest().GetNumEntries(), 0);
    const std::pair<std::string, std::string> cases[] = {{"a/b/Pos", "a.b.Pos"},
                                                         {"c//Pos", "c..Pos"},
                                                         {"c//", "c."},
                                                         {"x.y/z.", "x.y.z."},
                                                         {"/", ""}};
    for (const auto& [path, fullName] : cases) {
        StreamTypeCollection* const added = types.Add(path);
        EXPECT_EQ(types.Add(path), added);
        EXPECT_EQ(added->GetFullName(), fullName);
        EXPECT_EQ(types.FindByFullName(fullName), added) << path;
    }
    EXPECT_TRUE(types.FindByFullName("b.Pos") == nullptr && types.GetPtr("a.b.Pos") == nullptr);
    EXPECT_TRUE(types.Add("") == nullptr && types.AddGroup("") == nullptr);
    // A text of many dots takes no longer than others.
    const std::string manyDots(200'000, '.');
    StreamTypeCollection* const dotted = types.Add("c/" + manyDots + "/Pos");
    EXPECT_EQ(types.FindByFullName(dotted->GetFullName()), dotted);
    EXPECT_EQ(types.FindByFullName("c" + manyDots + "Pos"), nullptr);
    EXPECT_THROW(types["a/b"], ItemNotFoundException);
    // The name in a node is the path.
    const BuiltTree node({CollectionSpec("d/Pos", {})});
    StreamTypeCollection* const read = types.Add(serializer, node.Root()["TypeCollection"]);
    EXPECT_EQ(read->GetFullName(), "d/Pos");
    // Asked for by path, it gets the group as parent.
    EXPECT_EQ(types.Add("d/Pos"), read);
    EXPECT_EQ(read->GetFullName(), "d.d/Pos");
    EXPECT_EQ(&types.Get("d/Pos"), read);
    EXPECT_THROW(types.GetGroup("a/b/Pos"), GroupNotFoundException);
    EXPECT_EQ(types.groupSeparator(), '/');
    EXPECT_FALSE(types.IsEmpty());
    types.Clear();
    EXPECT_TRUE(types.IsEmpty());
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { types.Get("Any"); }),
              "Item 'Any' does not exist.");
}

TEST_F(StreamTypeRepositoryTest, ResolvesAPathBeforeAFullName) {
    StreamTypeCollection* const byPath = types.Add("a.b.Pos");
    StreamTypeCollection* const below = types.Add("a/b/Pos");
    EXPECT_EQ(&types.Resolve("a/b/Pos"), below);
    EXPECT_EQ(&types.Resolve("a.b.Pos"), byPath);
    types.Remove("a.b.Pos");
    EXPECT_EQ(&types.Resolve("a.b.Pos"), below);
    EXPECT_EQ(types.ResolvePtr("b.Pos"), nullptr);
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { types.Resolve("b.Pos"); }),
              "Item 'b.Pos' does not exist.");
}

// The full names of all collections, of equal ones the first in the order that `FindByFullName`
// documents.
void CollectFullNames(const StreamTypeCollectionGroup& group, const std::string& above,
                      std::map<std::string, const StreamTypeCollection*>& found) {
    const auto join = [&](const std::string& name) {
        return above.empty() ? name : above + "." + name;
    };
    for (const std::string& name : group.GetItemNames()) {
        found.emplace(join(name), group.GetPtr(name));
    }
    for (const std::string& name : group.GetGroupNames()) {
        CollectFullNames(group.GetGroup(name), join(name), found);
    }
}

TEST_F(StreamTypeRepositoryTest, FindsTheFirstCollectionOfEveryFullName) {
    Random random;
    const std::vector<std::string> names = {"", "a", "b", "a.a", "a.b", ".", "a.", "..", "b.a.b"};
    const auto any = [&] { return names[random.Below(static_cast<unsigned>(names.size()))]; };
    for (int change = 0; change < 300 && !HasFailure(); ++change) {
        StreamTypeCollectionGroup* group = &types.GetGroup("");
        for (unsigned depth = random.Below(6); depth > 0; --depth) {
            group = group->AddGroup(any());
        }
        if (random.Below(8) == 0) {
            group->Remove(any());
        } else {
            group->Add(any());
        }
        std::map<std::string, const StreamTypeCollection*> expected;
        CollectFullNames(types.GetGroup(""), "", expected);
        // In some of the states there are so many look-ups that they are answered from a table.
        const int rounds = random.Below(10) == 0 ? 30 : 1;
        for (int round = 0; round < rounds; ++round) {
            for (const auto& [fullName, collection] : expected) {
                EXPECT_EQ(types.FindByFullName(fullName), collection) << fullName;
            }
            std::string other = any();
            for (unsigned parts = random.Below(5); parts > 0; --parts) {
                other += "." + any();
            }
            const auto place = expected.find(other);
            EXPECT_EQ(types.FindByFullName(other),
                      place == expected.end() ? nullptr : place->second)
                << other;
        }
    }
}

// Searching for each name in turn would take hours.
TEST_F(StreamTypeRepositoryTest, FindsManyFullNamesThatCanBeDividedInManyWays) {
    std::vector<StreamTypeCollectionGroup*> groups = {&types.GetGroup("")};
    for (std::size_t i = 0; groups.size() < 5000; ++i) {
        for (const char* const name : {"a", "a.a", "a.a.a"}) {
            groups.push_back(groups[i]->AddGroup(name));
        }
    }
    std::string fullName = "a";
    for (int i = 0; i < 30; ++i) {
        fullName += ".a";
    }
    const StreamTypeCollection* const last = types.GetGroup("").AddGroup(fullName)->Add("x");
    for (int i = 0; i < 20'000; ++i) {
        ASSERT_EQ(types.FindByFullName(fullName + ".x"), last);
        ASSERT_EQ(types.FindByFullName(fullName + ".y"), nullptr);
    }
    // Unnamed groups inside each other, with a text that leads into all of them.
    StreamTypeCollectionGroup* group = &types.GetGroup("");
    for (int level = 0; level < 400; ++level) {
        group = group->AddGroup("");
    }
    EXPECT_EQ(types.FindByFullName(std::string(400, '.')), nullptr);
    const StreamTypeCollection* const deepest = group->Add("x");
    EXPECT_EQ(types.FindByFullName("x"), deepest);
}

TEST_F(StreamTypeRepositoryTest, ReadsTheSeparatorOfItsNode) {
    for (const std::string text : {"", "//", ":"}) {
        const BuiltTree node({Value("GroupSeparator", text)});
        StreamTypeRepository read(logger, serializer, node.Root());
        EXPECT_EQ(read.Add("a:b.c")->GetFullName(), text == ":" ? "a.b.c" : "a:b.c");
        EXPECT_NE(read.GetGroupPtr(text == ":" ? "a" : "a:b"), nullptr) << text;
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
