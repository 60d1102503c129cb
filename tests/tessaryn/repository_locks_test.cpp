// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/groups.h"
#include "support/node_builder.h"
#include "support/subscribers.h"
#include "tessaryn/private/stream_repository_private.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using serialization::NodeRef;
using serialization::NodeTree;
using serialization::Serializer;
using test::FinishesElsewhere;
using test::HostGroup;
using test::OpenLock;

const Serializer<NodeRef> serializer;

using Operation = std::pair<std::string, std::function<void()>>;

/// While the holder's mutex is held, the first operations wait for it, the others don't.
template <class Holder>
void ExpectWaiting(Holder& holder, const std::vector<Operation>& waiting,
                   const std::vector<Operation>& free) {
    for (const auto& [name, operation] : waiting) {
        std::future<void> end;
        holder.AtomicExecute([&, &work = operation] {
            end = std::async(std::launch::async, work);
            // Too short a time can only let a fault pass.
            EXPECT_EQ(end.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout)
                << name;
        });
        EXPECT_EQ(end.wait_for(std::chrono::seconds(20)), std::future_status::ready) << name;
    }
    for (const auto& [name, operation] : free) {
        holder.AtomicExecute(
            [&, &work = operation] { EXPECT_TRUE(FinishesElsewhere(work)) << name; });
    }
}

class RepositoryLocks : public testing::Test {
  protected:
    RepositoryLocks() {
        pos = &types.Add("Pos")->PushNew(utils::Version(1, 0, 0));
        node.Root().AddNode("Name", serialization::NodeName).SetValue("g");
    }

    Poco::Logger& logger = Poco::Logger::get("locks");
    StreamTypeRepository types{logger, '/'};
    StreamType* pos = nullptr;
    test::BuiltTree node{{}};
};

TEST_F(RepositoryLocks, LookUpsHoldTheRepositoryForTheWholeWalkAndAdditionsDoNot) {
    OpenLock<GenericRepo<HostGroup, test::Counted<test::HostItem>>> repo('/');
    std::string seen;
    const auto walk = [&](const std::function<void()>& operation) {
        seen.clear();
        HostGroup::onVisit = [&] { seen += repo.IsFree() ? 'f' : 'h'; };
        operation();
        HostGroup::onVisit = nullptr;
        EXPECT_TRUE(repo.IsFree());
        return seen;
    };
    // Each group on the way is visited, and made where it is missing.
    EXPECT_EQ(walk([&] { repo.AddItem("a/b/x", test::HostTree::MakeItem()); }), "ffff");
    EXPECT_EQ(walk([&] { repo.AddGroup("a/b/c"); }), "ffff");
    EXPECT_EQ(walk([&] { repo.GetItemPtr("a/b/x"); }), "hhh");
    EXPECT_EQ(walk([&] { repo.GetGroupPtr("a/b"); }), "hh");
    EXPECT_EQ(walk([&] { repo.Remove("a/b/x"); }), "hhh");
    EXPECT_EQ(walk([&] { repo.Clear(); }), "h");
    HostGroup::onVisit = [] { throw std::runtime_error("on the way"); };
    EXPECT_THROW(repo.GetItemPtr("a/b/x"), std::runtime_error);
    HostGroup::onVisit = nullptr;
    EXPECT_TRUE(repo.IsFree());
}

TEST_F(RepositoryLocks, StreamRepositoryLocksAsItSays) {
    StreamRepositoryPrivate streams(logger, '/');
    streams.AddItem("a/s", std::make_unique<Stream>(pos, 1));
    StreamTypeCollection* const collection = &types["Pos"];
    ExpectWaiting(
        streams,
        {{"GetStreamPtr", [&] { streams.GetItemPtr("a/s"); }},
         {"GetStream", [&] { streams.GetStream("a/s"); }},
         {"GetGroupPtr", [&] { streams.GetGroupPtr("a"); }},
         {"GetGroup", [&] { streams.GetGroup("a"); }},
         {"GetRoot", [&] { streams.GetLockedRoot(); }},
         {"Remove", [&] { streams.Remove("nosuch"); }},
         {"Clear", [&] { streams.Clear(); }},
         {"Fill", [&] { streams.Fill(serializer, node.Root(), types); }},
         {"IsStreamTypeInUse", [&] { streams.IsStreamTypeInUse(pos); }},
         {"IsStreamTypeInUse of all", [&] { streams.IsStreamTypeInUse(collection); }}},
        {{"AddGroup", [&] { streams.AddGroup("a/b"); }},
         {"AddStream", [&] { streams.AddStream("a/t", std::make_unique<Stream>(pos, 1)); }},
         {"Serialize", [&] {
              NodeTree written;
              NodeRef root = written.GetRoot();
              streams.Serialize(serializer, root);
          }}});
}

TEST_F(RepositoryLocks, GroupsLockAsTheySay) {
    StreamGroup group("g", nullptr);
    group.AddStream("s", pos, 1);
    const auto serialize = [&] {
        NodeTree written;
        NodeRef root = written.GetRoot();
        group.Serialize(serializer, root);
    };
    ExpectWaiting(
        group,
        {{"AddItem", [&] { group.AddItem("t", std::make_unique<Stream>(pos, 1)); }},
         {"AddItemMove", [&] { group.AddItemMove("t", nullptr); }},
         {"AddGroup", [&] { group.AddGroup("a"); }},
         {"GetStreamPtr", [&] { group.GetStreamPtr("s"); }},
         {"GetGroupPtr", [&] { group.GetGroupPtr("a"); }},
         {"ItemExists", [&] { group.ItemExists("s"); }},
         {"GetItemNames", [&] { group.GetItemNames(); }},
         {"GetAllGroupPtrs", [&] { group.GetAllGroupPtrs(); }},
         {"Fill", [&] { group.Fill(serializer, node.Root(), types); }},
         {"AddSamples", [&] { group.AddSamplesToExistingStreams(serializer, node.Root(), types); }},
         {"IsStreamTypeInUse", [&] { group.IsStreamTypeInUse(pos); }},
         {"Serialize", serialize},
         {"Remove", [&] { group.Remove("nosuch"); }},
         {"RemoveItem", [&] { group.RemoveItem("nosuch"); }},
         {"RemoveGroup", [&] { group.RemoveGroup("nosuch"); }},
         {"Clear", [&] { group.Clear(); }}},
        {{"names", [&] { group.GetFullName(); }}, {"IsEmpty", [&] { group.IsEmpty(); }}});
}

TEST_F(RepositoryLocks, AtomicExecuteOfARepositoryExcludesItsOwnKindOnly) {
    StreamRepository streams(logger, '/');
    ExpectWaiting(streams, {{"AtomicExecute", [&] { streams.AtomicExecute([] {}); }}},
                  {{"look-up", [&] { streams.GetStreamPtr("s"); }},
                   {"AddStream", [&] { streams.AddStream("s", pos, 1); }},
                   {"Clear", [&] { streams.Clear(); }}});
    ExpectWaiting(types, {{"AtomicExecute", [&] { types.AtomicExecute([] {}); }}},
                  {{"look-up", [&] { types.GetPtr("Pos"); }},
                   {"full name", [&] { types.FindByFullName("Pos"); }},
                   {"Add", [&] { types.Add("a/b"); }},
                   {"Fill", [&] { types.Fill(serializer, node.Root()); }},
                   {"Remove", [&] { types.Remove("a"); }}});
}

TEST_F(RepositoryLocks, SamplesAreAddedWithTheGroupsLockedFromAboveDown) {
    OpenLock<StreamGroup> root("", nullptr);
    auto owned = std::make_unique<OpenLock<StreamGroup>>("a", &root);
    OpenLock<StreamGroup>& a = *owned;
    root.AddGroup("a", std::move(owned));
    std::string seen;
    a.AddStream("s", pos, 1)->Subscribe(test::SubscriptionOf(1, [&](Stream&, SubscriptionArgs&) {
        seen = std::string(root.IsFree() ? "free " : "held ") + (a.IsFree() ? "free" : "held");
        throw std::runtime_error("a subscriber's");
    }));
    const test::BuiltTree tree({test::GroupSpec(
        "",
        {test::GroupSpec("a", {}, "Streams",
                         {test::List("Stream", {test::Value("Name", "s"),
                                                test::List("Samples", {test::List("S", {})})})})},
        "Streams", {})});
    EXPECT_THROW(root.AddSamplesToExistingStreams(serializer, tree.Root()["Group"], types),
                 std::runtime_error);
    EXPECT_EQ(seen, "held held");
    EXPECT_TRUE(root.IsFree() && a.IsFree() && test::LocksAreFree(a.GetStream("s")));
}

TEST_F(RepositoryLocks, ThreadsMayAddTheSameCollections) {
    // Who finds what another thread has just added finds it complete.
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                const std::string name = std::to_string(i);
                EXPECT_EQ(types.Add("g/" + name)->GetFullName(), "g." + name);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST_F(RepositoryLocks, ThreadsAddFindFillAndWriteTogether) {
    StreamRepository streams(logger, '/');
    constexpr int rounds = 60;
    const test::BuiltTree tree({test::GroupSpec(
        "",
        {test::GroupSpec(
            "g1", {}, "Streams",
            {test::List("Stream", {test::Value("Name", "read"), test::Value("Type", "Pos"),
                                   test::Value("MaxSize", "1")})})},
        "Streams", {})});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < rounds; ++i) {
                const std::string path =
                    "g" + std::to_string(i % 3) + "/s" + std::to_string(i * (thread % 2));
                streams.AddStream(path, pos, 1);
                EXPECT_NE(streams.GetStreamPtr(path), nullptr);
                types.Add(path)->GetFullName();
                EXPECT_NE(types.GetPtr(path), nullptr);
                EXPECT_TRUE(streams.IsStreamTypeInUse(pos));
                streams.Remove("nosuch/" + path);
                if (i % 10 == thread) {
                    streams.Fill(serializer, tree.Root(), types);
                    NodeTree written;
                    NodeRef root = written.GetRoot();
                    streams.Serialize(serializer, root);
                    types.Serialize(serializer, root);
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    // Streams of odd threads are rounds, those of even ones always the first of its group.
    std::size_t count = 0;
    for (const StreamGroup* group : streams.GetRoot().GetAllGroupPtrs())
        count += group->GetItemNames().size();
    EXPECT_EQ(count, static_cast<std::size_t>(rounds) + 2U + 1U);
}

}  // namespace
}  // namespace velmora::core::tessaryn
