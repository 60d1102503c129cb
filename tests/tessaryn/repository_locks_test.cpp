// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

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
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::NodeRef;
using serialization::Serializer;
const Serializer<NodeRef> serializer;

using Operation = std::function<void()>;

// Opens an object's mutex to be looked at.
template <class Lockable>
struct OpenLock : Lockable {
    using Lockable::Lockable;

    // Whether another thread could lock the object now.
    bool IsFree() const {
        const auto lock = [&] { return this->mutex.tryLock() && (this->mutex.unlock(), true); };
        return std::async(std::launch::async, lock).get();
    }
};

// While the holder's mutex is held, the first operations wait for it, the others don't.
template <class Holder>
void ExpectWaiting(Holder& holder, const std::vector<Operation>& waiting,
                   const std::vector<Operation>& free) {
    for (const Operation& operation : waiting) {
        std::future<void> end;
        holder.AtomicExecute([&] {
            end = std::async(std::launch::async, operation);
            // Too short a time can only let a fault pass.
            EXPECT_EQ(end.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout)
                << "operation " << &operation - waiting.data();
        });
        EXPECT_EQ(end.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    }
    holder.AtomicExecute([&] {
        for (const Operation& operation : free) {
            EXPECT_TRUE(FinishesElsewhere(operation)) << "free " << &operation - free.data();
        }
    });
}

class RepositoryLocks : public testing::Test {
  protected:
    Operation Write(const auto& object) const {
        return [&object] { Written(object); };
    }

    Poco::Logger& logger = Poco::Logger::get("locks");
    StreamTypeRepository types{logger, '/'};
    StreamType* pos = &types.Add("Pos")->PushNew(utils::Version(1, 0, 0));
    const BuiltTree tree{{GroupSpec(
        "",
        {GroupSpec("a", {}, "Streams",
                   {List("Stream", {Value("Name", "s"), Value("Type", "Pos"), Value("MaxSize", "1"),
                                    List("Samples", {List("S", {})})})})},
        "Streams", {})}};
    const NodeRef node = tree.Root()["Group"];
};

TEST_F(RepositoryLocks, RepositoriesAndGroupsLockAsTheySay) {
    StreamRepositoryPrivate streams(logger, '/');
    const auto makeStream = [&] { return std::make_unique<Stream>(pos, 1); };
    streams.AddItem("a/s", makeStream());
    ExpectWaiting(streams,
                  {[&] { streams.GetItemPtr("a/s"); }, [&] { streams.GetStream("a/s"); },
                   [&] { streams.GetGroupPtr("a"); }, [&] { streams.GetGroup("a"); },
                   [&] { streams.GetLockedRoot(); }, [&] { streams.Remove("nosuch"); },
                   [&] { streams.Clear(); }, [&] { streams.Fill(serializer, node, types); },
                   [&] { streams.IsStreamTypeInUse(pos); },
                   [&] { streams.IsStreamTypeInUse(&types["Pos"]); }},
                  {[&] { streams.AddGroup("a/b"); },
                   [&] { streams.AddStream("a/t", makeStream()); }, Write(streams)});
    StreamGroup group("g", nullptr);
    ExpectWaiting(group,
                  {[&] { group.AddItem("t", makeStream()); },
                   [&] { group.AddItemMove("t", nullptr); }, [&] { group.AddGroup("a"); },
                   [&] { group.GetStreamPtr("s"); }, [&] { group.GetGroupPtr("a"); },
                   [&] { group.ItemExists("s"); }, [&] { group.GetItemNames(); },
                   [&] { group.GetAllGroupPtrs(); }, [&] { group.Fill(serializer, node, types); },
                   [&] { group.AddSamplesToExistingStreams(serializer, node, types); },
                   [&] { group.IsStreamTypeInUse(pos); }, Write(group),
                   [&] { group.Remove("nosuch"); }, [&] { group.RemoveItem("nosuch"); },
                   [&] { group.RemoveGroup("nosuch"); }, [&] { group.Clear(); }},
                  {[&] { group.GetFullName(); }, [&] { group.IsEmpty(); }});
    // That of a repository itself excludes its own kind only.
    StreamRepository outer(logger, '/');
    ExpectWaiting(outer, {[&] { outer.AtomicExecute([] {}); }},
                  {[&] { outer.GetStreamPtr("s"); }, [&] { outer.AddStream("s", pos, 1); },
                   [&] { outer.Clear(); }});
    ExpectWaiting(types, {[&] { types.AtomicExecute([] {}); }},
                  {[&] { types.GetPtr("Pos"); }, [&] { types.FindByFullName("Pos"); },
                   [&] { types.Add("a/b"); }, [&] { types.Fill(serializer, node); },
                   [&] { types.Remove("a"); }});
}

TEST_F(RepositoryLocks, SamplesAreAddedWithTheGroupsLockedFromAboveDown) {
    OpenLock<StreamGroup> root("", nullptr);
    auto owned = std::make_unique<OpenLock<StreamGroup>>("a", &root);
    OpenLock<StreamGroup>& a = *owned;
    root.AddGroup("a", std::move(owned));
    std::string seen;
    a.AddStream("s", pos, 1)->Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs&) {
        seen = std::string(root.IsFree() ? "free " : "held ") + (a.IsFree() ? "free" : "held");
        throw std::runtime_error("a subscriber's");
    }));
    EXPECT_THROW(root.AddSamplesToExistingStreams(serializer, node, types), std::runtime_error);
    EXPECT_EQ(seen, "held held");
    EXPECT_TRUE(root.IsFree() && a.IsFree() && LocksAreFree(a.GetStream("s")));
}

TEST_F(RepositoryLocks, ThreadsAddFindFillAndWriteTogether) {
    StreamRepository streams(logger, '/');
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 200; ++i) {
                const std::string name = "t" + std::to_string(i * (thread % 2));
                streams.AddStream("a/" + name, pos, 1);
                EXPECT_NE(streams.GetStreamPtr("a/" + name), nullptr);
                // Who finds what another thread has just added finds it complete.
                EXPECT_EQ(types.Add("a/" + name)->GetFullName(), "a." + name);
                EXPECT_TRUE(streams.IsStreamTypeInUse(pos));
                streams.Remove("nosuch/" + name);
                if (i % 10 == thread) {
                    streams.Fill(serializer, tree.Root(), types);
                    Write(streams)();
                    Write(types)();
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(streams.GetGroup("a").GetItemNames().size(), 200U + 1U);
}

}  // namespace
}  // namespace velmora::core::tessaryn
