// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/versioned_collection.h"

#include "support/allocation_probe.h"
#include "support/random.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace velmora::utils {
namespace {

using test::AllocationProbe;
using test::MessageOf;

/// An object that is counted as long as it lives.
struct Tracked {
    explicit Tracked(int number) : id(number) { ++live; }
    Tracked(const Tracked&) = delete;
    Tracked& operator=(const Tracked&) = delete;
    ~Tracked() { --live; }

    int id;
    static inline int live = 0;
};

class Collection : public VersionedCollection<Tracked> {
  public:
    using VersionedCollection::Set;
    using VersionedCollection::SetLatest;
    using VersionedCollection::VersionedCollection;
};

std::vector<int> IdsOf(const VersionedCollection<Tracked>& collection) {
    std::vector<int> ids;
    for (const Tracked* object : collection.GetAll())
        ids.push_back(object->id);
    return ids;
}

std::uint32_t NumberOf(unsigned first, unsigned second, unsigned third) {
    return (first << 24) + (second << 16) + third;
}

Version VersionOf(std::uint32_t number) {
    return {static_cast<unsigned char>(number >> 24), static_cast<unsigned char>(number >> 16),
            static_cast<unsigned short>(number)};
}

using Model = std::map<std::uint32_t, int>;

std::uint32_t LatestOf(const Model& model) {
    return model.empty() ? 0 : model.rbegin()->first;
}

/// Does one random thing to a collection and to its model.
void Step(Collection& collection, Model& model, test::Random& random, int id) {
    const std::uint32_t number =
        NumberOf(random.Below(3), random.Below(2) * 255, random.Below(3) * 32767);
    const Version version = VersionOf(number);
    const std::uint64_t sum = std::uint64_t{LatestOf(model)} + number;
    switch (random.Below(8)) {
        case 0:
        case 1:
        case 2:
            if (model.contains(number)) {
                EXPECT_THROW(collection.Add(new Tracked(id), version),
                             VersionedObjectAlreadyExistsException);
            } else if (model.empty() && number == 0) {
                EXPECT_THROW(collection.Add(new Tracked(id), version), WrongVersionException);
            } else {
                EXPECT_EQ(collection.Add(new Tracked(id), version).id, id);
                model[number] = id;
            }
            return;
        case 3:
            if (number == 0 || sum > 0xFFFFFFFFU) {
                EXPECT_THROW(collection.PushNew(new Tracked(id), version), WrongVersionException);
            } else {
                EXPECT_EQ(collection.PushNew(new Tracked(id), version).id, id);
                model[static_cast<std::uint32_t>(sum)] = id;
            }
            return;
        case 4:
            collection.Remove(version);
            model.erase(number);
            return;
        case 5:
            collection.PopLatest();
            model.erase(LatestOf(model));
            return;
        default: {
            // Only an object with a place to go is taken.
            const bool latest = random.Below(2) == 0;
            const auto place = model.find(latest ? LatestOf(model) : number);
            auto object = std::make_unique<Tracked>(id);
            if (latest)
                collection.SetLatest(object.get());
            else
                collection.Set(version, object.get());
            if (place != model.end()) {
                place->second = id;
                static_cast<void>(object.release());
            }
        }
    }
}

TEST(VersionedCollection, BehavesAsAMapThatOwnsItsObjects) {
    ASSERT_EQ(Tracked::live, 0);
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
            ASSERT_EQ(collection.GetLatestPtr(), last);
            ASSERT_TRUE(last == nullptr || last->id == model.rbegin()->second);
            ASSERT_EQ(collection.GetPtr(VersionOf(12345)), nullptr);
        }
        collection.Add(new Tracked(0), Version(9, 9, 9));
    }
    EXPECT_EQ(Tracked::live, 0);
}

template <class E, class Action>
void ExpectRefused(const std::string& message, const Version& version, Action action) {
    EXPECT_EQ(MessageOf<E>(action), message);
    try {
        action();
    } catch (const E& exception) {
        EXPECT_EQ(exception.GetVersion(), version) << message;
    }
}

TEST(VersionedCollection, TellsWhyAndLeavesEverythingAsItWas) {
    Collection empty("C");
    Collection full("C");
    Collection nameless("");
    full.Add(new Tracked(1), {1, 0, 0});
    full.Add(new Tracked(2), {255, 255, 65534});
    nameless.Add(new Tracked(3), {1, 0, 0});
    using Exists = VersionedObjectAlreadyExistsException;
    using NotFound = VersionedObjectNotFoundException;
    const std::string tooSmall =
        "Param version_delta can not be smaller than Version::SmallestDelta";

    ExpectRefused<Exists>("Version 1.0.0 already exist in the collection C", {1, 0, 0}, [&] {
        full.Add(new Tracked(0), {1, 0, 0});
    });
    ExpectRefused<Exists>("Version 255.255.65534 already exist in the collection C",
                          {255, 255, 65534}, [&] {
                              full.Add(new Tracked(0), {255, 255, 65534});
                          });
    ExpectRefused<Exists>("Version 1.0.0 already exist in the collection ", {1, 0, 0}, [&] {
        nameless.Add(new Tracked(0), {1, 0, 0});
    });
    ExpectRefused<WrongVersionException>(tooSmall, {0, 0, 0}, [&] {
        full.PushNew(new Tracked(0), {0, 0, 0});
    });
    ExpectRefused<WrongVersionException>(tooSmall, {0, 0, 0}, [&] {
        empty.Add(new Tracked(0), {0, 0, 0});
    });
    EXPECT_THROW(full.PushNew(new Tracked(0), {0, 0, 2}), WrongVersionException);
    ExpectRefused<NotFound>("Version 0.0.7 does not exist in the collection C", {0, 0, 7}, [&] {
        full.Get({0, 0, 7});
    });
    ExpectRefused<NotFound>("Version 255.255.65535 does not exist in the collection C",
                            Version::Latest(), [&] { empty[Version::Latest()]; });
    ExpectRefused<NotFound>("Collection C is empty", {0, 0, 0}, [&] { empty.GetLatest(); });
    empty.PopLatest();
    full.Remove(Version::Latest());

    EXPECT_TRUE(empty.IsEmpty());
    EXPECT_EQ(IdsOf(full), (std::vector<int>{1, 2}));
    EXPECT_EQ(full.GetLatestVersion(), Version(255, 255, 65534));
    EXPECT_EQ(Tracked::live, 3);
    EXPECT_EQ(full.PushNew(new Tracked(4), Version::SmallestDelta()).id, 4);
}

TEST(VersionedCollection, FreesTheObjectAndStaysInStepWhenMemoryRunsOut) {
    int failures = 0;
    for (unsigned short size = 0; size < 9; ++size) {
        for (const bool atEnd : {true, false}) {
            for (long failAt = 0; failAt < 3; ++failAt) {
                Collection collection("C");
                for (unsigned short i = 1; i <= size; ++i)
                    collection.Add(new Tracked(i), {0, 1, i});
                std::vector<int> expected = IdsOf(collection);
                auto* const object = new Tracked(99);
                bool added = true;
                try {
                    const AllocationProbe probe(failAt);
                    if (atEnd)
                        collection.PushNew(object, {0, 1, 0});
                    else
                        collection.Add(object, {0, 0, 1});
                } catch (const std::bad_alloc&) {
                    added = false;
                    ++failures;
                }
                if (added)
                    expected.insert(atEnd ? expected.end() : expected.begin(), 99);
                EXPECT_EQ(IdsOf(collection), expected);
                EXPECT_EQ(Tracked::live, static_cast<int>(expected.size()));
                Tracked* const last = expected.empty() ? nullptr : &collection.GetLatest();
                EXPECT_EQ(collection.GetPtr(collection.GetLatestVersion()), last);
                for (unsigned short i = 1; i <= size; ++i)
                    EXPECT_EQ(collection[Version(0, 1, i)].id, i);
            }
        }
    }
    EXPECT_GT(failures, 0);
    EXPECT_EQ(Tracked::live, 0);
}

/// Lets go of objects that another collection owns.
class Borrower : public Collection {
  public:
    using Collection::Collection;
    Borrower(const Borrower&) = default;
    Borrower& operator=(const Borrower&) = default;
    ~Borrower() override { objects.clear(); }
    const std::string& Name() const { return name; }
};

TEST(VersionedCollection, CopiesShareTheirObjects) {
    Collection owner("owner");
    Borrower source("source");
    source.Add(&owner.Add(new Tracked(1), {1, 0, 0}), {1, 0, 0});
    Borrower copy(source);
    EXPECT_EQ(copy.GetAll(), owner.GetAll());
    EXPECT_EQ(copy.Name(), "source");
    Borrower target("target");
    target.Add(&owner.Add(new Tracked(2), {2, 0, 0}), {2, 0, 0});
    target = source;
    EXPECT_EQ(target.GetAll(), source.GetAll());
    EXPECT_EQ(target.GetLatestVersion(), Version(1, 0, 0));
    EXPECT_EQ(target.Name(), "source");
    EXPECT_EQ(Tracked::live, 2);
    Borrower& self = source;
    source = self;
    EXPECT_EQ(IdsOf(source), std::vector<int>{1});
}

}  // namespace
}  // namespace velmora::utils
