// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/versioned_collection.h"

#include "support/live_count.h"
#include "support/random.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace velmora::utils {
namespace {

using test::MessageOf;

// An object that is counted as long as it lives.
struct Tracked : test::LiveCount<Tracked> {
    explicit Tracked(int number) : id(number) {}
    int id;
};

class Collection : public VersionedCollection<Tracked> {
  public:
    using VersionedCollection::Set;
    using VersionedCollection::SetLatest;
    using VersionedCollection::VersionedCollection;
};

std::vector<int> IdsOf(const Collection& collection) {
    std::vector<int> ids;
    for (const Tracked* object : collection.GetAll()) {
        ids.push_back(object->id);
    }
    return ids;
}

Version VersionOf(std::uint32_t number) {
    return {static_cast<unsigned char>(number >> 24), static_cast<unsigned char>(number >> 16),
            static_cast<unsigned short>(number)};
}

using Model = std::map<std::uint32_t, int>;

std::uint32_t LatestOf(const Model& model) {
    return model.empty() ? 0 : model.rbegin()->first;
}

// Does one random thing to a collection and to its model.
void Step(Collection& collection, Model& model, test::Random& random, int id) {
    const std::uint32_t number =
        (random.Below(3) << 24) + (random.Below(2) * 255 << 16) + random.Below(3) * 32767;
    const Version version = VersionOf(number);
    const std::uint64_t sum = std::uint64_t{LatestOf(model)} + number;
    const unsigned action = random.Below(8);
    auto object = std::make_unique<Tracked>(id);
    if (action < 3) {
        if (model.contains(number)) {
            EXPECT_THROW(collection.Add(object.release(), version),
                         VersionedObjectAlreadyExistsException);
        } else if (model.empty() && number == 0) {
            EXPECT_THROW(collection.Add(object.release(), version), WrongVersionException);
        } else {
            EXPECT_EQ(collection.Add(object.release(), version).id, id);
            model[number] = id;
        }
    } else if (action == 3) {
        if (number == 0 || sum > 0xFFFFFFFFU) {
            EXPECT_THROW(collection.PushNew(object.release(), version), WrongVersionException);
        } else {
            EXPECT_EQ(collection.PushNew(object.release(), version).id, id);
            model[static_cast<std::uint32_t>(sum)] = id;
        }
    } else if (action == 4) {
        collection.Remove(version);
        model.erase(number);
    } else if (action == 5) {
        collection.PopLatest();
        model.erase(LatestOf(model));
    } else {
        // Only an object with a place to go is taken.
        const auto place = model.find(action == 6 ? LatestOf(model) : number);
        if (action == 6) {
            collection.SetLatest(object.get());
        } else {
            collection.Set(version, object.get());
        }
        if (place != model.end()) {
            place->second = id;
            static_cast<void>(object.release());
        }
    }
}

TEST(VersionedCollection, BehavesAsAMapThatOwnsItsObjects) {
    test::Random random;
    {
        Collection collection("C");
        Model model;
        for (int id = 0; id < 4000; ++id) {
            Step(collection, model, random, id);
            if (id % 500 == 499) {
                collection.Clear();
                model.clear();
            }
            std::vector<int> expected;
            for (const auto& [key, value] : model) {
                expected.push_back(value);
                ASSERT_EQ(collection[VersionOf(key)].id, value);
            }
            ASSERT_EQ(IdsOf(collection), expected);
            ASSERT_EQ(Tracked::live, static_cast<int>(model.size()));
            ASSERT_EQ(collection.GetLatestVersion(), VersionOf(LatestOf(model)));
            ASSERT_EQ(collection.IsEmpty(), model.empty());
            Tracked* const last = model.empty() ? nullptr : &collection.GetLatest();
            ASSERT_EQ(collection.GetPtr(Version::Latest()), last);
            ASSERT_TRUE(last == nullptr || last->id == model.rbegin()->second);
            ASSERT_EQ(collection.GetPtr(VersionOf(12345)), nullptr);
        }
        collection.Add(new Tracked(0), Version(9, 9, 9));
    }
    EXPECT_EQ(Tracked::live, 0);
}

TEST(VersionedCollection, NamesTheReasonOfARefusal) {
    Collection empty("C");
    Collection full("C");
    const Version one(1, 0, 0);
    const Version none(0, 0, 0);
    full.Add(new Tracked(1), one);
    full.Add(new Tracked(2), {255, 255, 65534});
    EXPECT_EQ(
        MessageOf<VersionedObjectAlreadyExistsException>([&] { full.Add(new Tracked(0), one); }),
        "Version 1.0.0 already exist in the collection C");
    EXPECT_EQ(MessageOf<WrongVersionException>([&] { empty.Add(new Tracked(0), none); }),
              "Param version_delta can not be smaller than Version::SmallestDelta");
    EXPECT_THROW(full.PushNew(new Tracked(0), {0, 0, 2}), WrongVersionException);
    EXPECT_EQ(MessageOf<VersionedObjectNotFoundException>([&] { empty.Get(one); }),
              "Version 1.0.0 does not exist in the collection C");
    EXPECT_EQ(MessageOf<VersionedObjectNotFoundException>([&] { empty.GetLatest(); }),
              "Collection C is empty");
    EXPECT_EQ(IdsOf(full), (std::vector<int>{1, 2}));
    EXPECT_EQ(Tracked::live, 2);
    EXPECT_EQ(full.PushNew(new Tracked(4), Version::SmallestDelta()).id, 4);
}

}  // namespace
}  // namespace velmora::utils
