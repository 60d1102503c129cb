// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Every operation beside every other. A lock that is missing corrupts a tree here in most runs, and
// in every run under the thread sanitizer.

#include "support/repositories.h"
#include "support/subscribers.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::NodeRef;

using Operation = std::function<void(const std::string& name)>;

// Calls operations in an order of each thread's own, with few names, so that they meet.
void RunTogether(const std::vector<Operation>& operations, int calls) {
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        threads.emplace_back([&, seed] {
            std::mt19937 random(seed);
            for (int call = 0; call < calls; ++call) {
                const std::string name = {"abc"[random() % 3]};
                operations[random() % operations.size()](name);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

class RepositoryThreads : public StreamTypesTest {
  protected:
    std::unique_ptr<Stream> MakeStream() const { return std::make_unique<Stream>(pos, 1); }

    const BuiltTree tree{
        {GroupSpec("",
                   {GroupSpec("a", {GroupSpec("b", {}, "Streams", {StreamSpec("c", {})})},
                              "Streams", {StreamSpec("a", {"1"}), StreamSpec("b", {"2"})})},
                   "Streams", {StreamSpec("c", {"3"})})}};
    const BuiltTree typeTree{{GroupSpec(
        "", {GroupSpec("a", {GroupSpec("b", {}, "TypeCollections", {})}, "TypeCollections", {})},
        "TypeCollections", {CollectionSpec("c", {TypeSpec("1.0.0")})})}};
};

TEST_F(RepositoryThreads, UseOneGroup) {
    StreamGroup group("", nullptr);
    std::atomic<int> notified = 0;
    const NodeRef node = tree.Root()["Group"];
    RunTogether(
        {
            [&](const std::string& name) { group.AddItem(name, MakeStream()); },
            [&](const std::string& name) { group.AddItemMove(name, MakeStream()); },
            [&](const std::string& name) { group.AddStream(name, pos, 2); },
            [&](const std::string& name) { group.AddGroup(name); },
            [&](const std::string& name) {
                auto added = std::make_unique<StreamGroup>(name, &group);
                added->AddStream("s", pos, 1);
                group.AddGroup(name, std::move(added));
            },
            [&](const std::string& name) {
                group.AddGroupMove(name, std::make_unique<StreamGroup>(name, &group));
            },
            [&](const std::string& name) { group.GetStreamPtr(name); },
            [&](const std::string& name) { group.GetGroupPtr(name); },
            [&](const std::string& name) { group.ItemExists(name); },
            [&](const std::string& name) { group.GroupExists(name); },
            [&](const std::string&) { group.GetItemNames(); },
            [&](const std::string&) { group.GetGroupNames(); },
            [&](const std::string&) { group.GetAllItemPtrs(); },
            [&](const std::string&) { group.GetAllGroupPtrs(); },
            [&](const std::string&) { group.IsEmpty(); },
            [&](const std::string& name) { group.RemoveItem(name); },
            [&](const std::string& name) { group.RemoveGroup(name); },
            [&](const std::string& name) { group.Remove(name); },
            [&](const std::string& name) {
                if (name == "a") {
                    group.Clear();
                }
            },
            [&](const std::string&) { group.Fill(serializer, node, types); },
            [&](const std::string&) { group.AddSamplesToExistingStreams(serializer, node, types); },
            [&](const std::string&) { group.IsStreamTypeInUse(pos); },
            [&](const std::string&) { Written(group); },
            [&](const std::string& name) {
                group.AtomicExecute([&] {
                    Stream* const stream = group.GetStreamPtr(name);
                    if (stream != nullptr) {
                        stream->Subscribe(
                            SubscriptionOf(1, [&](Stream&, SubscriptionArgs&) { ++notified; }));
                        stream->PushNew([](Sample& sample) { sample.Set(0, 0, 1); });
                    }
                });
            },
        },
        1500);
    EXPECT_GT(notified, 0);
    EXPECT_EQ(group.IsEmpty(), group.GetItemNames().empty() && group.GetGroupNames().empty());
}

TEST_F(RepositoryThreads, UseOneRepositoryOfStreams) {
    StreamRepository streams(logger, '/');
    const NodeRef stream = tree.Root()["Group"]["Streams"].GetNodes()[0];
    RunTogether(
        {
            [&](const std::string& name) { streams.AddStream("a/b/" + name, pos, 1); },
            [&](const std::string& name) { streams.AddStream(name + "/b", MakeStream()); },
            [&](const std::string&) { streams.AddStream(serializer, stream, types); },
            [&](const std::string& name) { streams.AddGroup("a/" + name); },
            [&](const std::string& name) { streams.GetStreamPtr("a/b/" + name); },
            [&](const std::string& name) { streams.GetGroupPtr("a/" + name); },
            [&](const std::string&) { streams.GetRoot(); },
            [&](const std::string&) { streams.IsEmpty(); },
            [&](const std::string&) { streams.IsStreamTypeInUse(pos); },
            [&](const std::string&) { streams.IsStreamTypeInUse(&types["a/Pos"]); },
            [&](const std::string&) {
                streams.ForEachStream([](const std::string&, Stream& other) { other.IsEmpty(); });
            },
            [&](const std::string& name) { streams.Remove(name); },
            [&](const std::string& name) { streams.Remove("a/" + name); },
            [&](const std::string& name) { streams.GetRoot().RemoveGroup(name); },
            [&](const std::string& name) {
                if (name == "a") {
                    streams.Clear();
                }
            },
            [&](const std::string&) { streams.Fill(serializer, tree.Root(), types); },
            [&](const std::string&) { Written(streams); },
        },
        1500);
    EXPECT_EQ(streams.IsEmpty(), Written(streams.GetRoot()) == "/1(Name/10= Groups/17 Streams/17)");
}

TEST_F(RepositoryThreads, UseOneRepositoryOfTypes) {
    const NodeRef collection = typeTree.Root()["Group"]["TypeCollections"].GetNodes()[0];
    RunTogether({
                    [&](const std::string& name) { types.Add("a/b/" + name); },
                    [&](const std::string& name) { types.Add(name); },
                    [&](const std::string&) { types.Add(serializer, collection); },
                    [&](const std::string& name) { types.AddGroup("a/" + name); },
                    [&](const std::string& name) { types.GetPtr("a/b/" + name); },
                    [&](const std::string& name) { types.GetGroupPtr("a/" + name); },
                    [&](const std::string&) { types.GetRoot(); },
                    [&](const std::string&) { types.IsEmpty(); },
                    [&](const std::string& name) { types.ResolvePtr("a.b." + name); },
                    [&](const std::string& name) {
                        // So often that the table of full names is built beside changes.
                        for (int i = 0; i < 100; ++i) {
                            types.FindByFullName("a.b." + name);
                        }
                    },
                    [&](const std::string& name) { types.Remove("a/" + name); },
                    [&](const std::string& name) { types.Remove(name); },
                    [&](const std::string& name) { types.GetRoot().RemoveGroup(name); },
                    [&](const std::string& name) {
                        if (name == "a") {
                            types.Clear();
                        }
                    },
                    [&](const std::string&) { types.Fill(serializer, typeTree.Root()); },
                    [&](const std::string&) { Written(types); },
                },
                1500);
    EXPECT_EQ(types.Add("a/b/c")->GetFullName(), "a.b.c");
}

// Who finds what another thread has just added finds it complete.
TEST_F(RepositoryThreads, FindWhatOthersAddComplete) {
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 200; ++i) {
                const std::string name = "t" + std::to_string(i * (thread % 2));
                EXPECT_EQ(types.Add("b/" + name)->GetFullName(), "b." + name);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(types.GetGroup("b").GetItemNames().size(), 200U);
}

}  // namespace
}  // namespace velmora::core::tessaryn
