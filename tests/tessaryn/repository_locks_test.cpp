// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/node_builder.h"
#include "support/subscribers.h"
#include "tessaryn/private/stream_repository_private.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/AutoPtr.h>
#include <Poco/Channel.h>
#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <fstream>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::NodeRef;
using serialization::Serializer;
const Serializer<NodeRef> serializer;

// A call that is tried while somebody else holds a lock.
struct Operation {
    const char* name;
    std::function<void()> call;
};

// The state of a thread of this process as the kernel gives it, 'S' while it waits; blank when the
// thread has ended.
char StateOf(pid_t thread) {
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(file, line);
    const std::size_t name = line.rfind(')');
    return name == std::string::npos ? ' ' : line[name + 2];
}

// Whether a call waits while the holder's mutex is held by another thread.
template <class Holder>
bool Waits(Holder& holder, const std::function<void()>& call) {
    std::promise<pid_t> started;
    std::atomic<bool> isDone = false;
    std::thread caller;
    bool waits = false;
    holder.AtomicExecute([&] {
        caller = std::thread([&] {
            started.set_value(gettid());
            call();
            isDone = true;
        });
        const pid_t thread = started.get_future().get();
        while (!isDone && !waits) {
            // A thread that waits for something else for once can only let a fault pass.
            waits = StateOf(thread) == 'S';
        }
    });
    caller.join();
    return waits;
}

template <class Holder>
void ExpectWaiting(Holder& holder, const std::vector<Operation>& operations) {
    for (const Operation& operation : operations) {
        EXPECT_TRUE(Waits(holder, operation.call)) << operation.name;
    }
}

template <class Holder>
void ExpectFree(Holder& holder, const std::vector<Operation>& operations) {
    for (const Operation& operation : operations) {
        holder.AtomicExecute(
            [&] { EXPECT_TRUE(FinishesElsewhere(operation.call)) << operation.name; });
    }
}

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

// Calls a function object at each message to POCO's root logger.
class RootLoggerWatch : public Poco::Channel {
  public:
    explicit RootLoggerWatch(std::function<void()> onMessage) : onMessage(std::move(onMessage)) {}
    void log(const Poco::Message& /*message*/) override { onMessage(); }

  private:
    std::function<void()> onMessage;
};

class RepositoryLocks : public testing::Test {
  protected:
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

TEST_F(RepositoryLocks, LookUpsAndChangesOfTheStreamsWaitForTheRepository) {
    StreamRepositoryPrivate streams(logger, '/');
    const auto makeStream = [&] { return std::make_unique<Stream>(pos, 1); };
    streams.AddItem("a/s", makeStream());
    ExpectWaiting(
        streams,
        {{"GetItemPtr", [&] { streams.GetItemPtr("a/s"); }},
         {"GetStream", [&] { streams.GetStream("a/s"); }},
         {"VisitItem", [&] { streams.VisitItem("a/s", [](Stream&) {}); }},
         {"GetGroupPtr", [&] { streams.GetGroupPtr("a"); }},
         {"GetGroupPtr of the root", [&] { streams.GetGroupPtr(""); }},
         {"GetGroup", [&] { streams.GetGroup("a"); }},
         {"GetLockedRoot", [&] { streams.GetLockedRoot(); }},
         {"Remove", [&] { streams.Remove("nosuch"); }},
         {"ForEachItem",
          [&] { streams.ForEachItem([](const std::string&, Stream&) { return true; }); }},
         {"IsStreamTypeInUse", [&] { streams.IsStreamTypeInUse(pos); }},
         {"IsStreamTypeInUse of a collection", [&] { streams.IsStreamTypeInUse(&types["Pos"]); }},
         {"Clear", [&] { streams.Clear(); }},
         {"Fill", [&] { streams.Fill(serializer, node, types); }}});
    ExpectFree(streams, {{"AddGroup", [&] { streams.AddGroup("a/b"); }},
                         {"AddStream", [&] { streams.AddStream("a/t", makeStream()); }},
                         {"AddStream of a size", [&] { streams.AddStream("a/u", pos, 1); }},
                         {"Serialize", [&] { Written(streams); }},
                         {"IsEmpty", [&] { streams.GetRoot().IsEmpty(); }}});
}

TEST_F(RepositoryLocks, OperationsOfAGroupWaitForIt) {
    StreamGroup group("g", nullptr);
    const auto makeStream = [&] { return std::make_unique<Stream>(pos, 1); };
    group.AddItem("s", makeStream());
    group.AddGroup("a");
    ExpectWaiting(group, {{"AddItem", [&] { group.AddItem("s", makeStream()); }},
                          {"AddItemMove", [&] { group.AddItemMove("s", nullptr); }},
                          {"AddGroup", [&] { group.AddGroup("a"); }},
                          {"AddGroup of a group",
                           [&] { group.AddGroup("a", std::unique_ptr<StreamGroup>()); }},
                          {"AddGroupMove", [&] { group.AddGroupMove("a", nullptr); }},
                          {"GetStreamPtr", [&] { group.GetStreamPtr("s"); }},
                          {"GetGroupPtr", [&] { group.GetGroupPtr("a"); }},
                          {"GetItemNames", [&] { group.GetItemNames(); }},
                          {"GetGroupNames", [&] { group.GetGroupNames(); }},
                          {"GetAllItemPtrs", [&] { group.GetAllItemPtrs(); }},
                          {"GetAllGroupPtrs", [&] { group.GetAllGroupPtrs(); }},
                          {"IsStreamTypeInUse", [&] { group.IsStreamTypeInUse(pos); }},
                          {"RemoveItem", [&] { group.RemoveItem("nosuch"); }},
                          {"RemoveGroup", [&] { group.RemoveGroup("nosuch"); }},
                          {"Clear", [&] { group.Clear(); }},
                          {"Fill", [&] { group.Fill(serializer, node, types); }},
                          {"Serialize", [&] { Written(group); }}});
    ExpectFree(group, {{"GetFullName", [&] { group.GetFullName(); }},
                       {"IsEmpty", [&] { group.IsEmpty(); }}});
}

TEST_F(RepositoryLocks, AtomicExecuteOfARepositoryExcludesItsOwnKindOnly) {
    StreamRepository streams(logger, '/');
    ExpectWaiting(streams, {{"AtomicExecute", [&] { streams.AtomicExecute([] {}); }}});
    ExpectFree(streams, {{"GetStreamPtr", [&] { streams.GetStreamPtr("s"); }},
                         {"AddStream", [&] { streams.AddStream("s", pos, 1); }},
                         {"Clear", [&] { streams.Clear(); }}});
    ExpectWaiting(types, {{"AtomicExecute", [&] { types.AtomicExecute([] {}); }}});
    ExpectFree(types, {{"GetPtr", [&] { types.GetPtr("Pos"); }},
                       {"FindByFullName", [&] { types.FindByFullName("Pos"); }},
                       {"Add", [&] { types.Add("a/b"); }},
                       {"Fill", [&] { types.Fill(serializer, node); }},
                       {"Remove", [&] { types.Remove("a"); }}});
}

// What is malformed is logged in the middle of reading.
TEST_F(RepositoryLocks, GroupsAreReadWithTheirLockHeld) {
    OpenLock<StreamGroup> streams("", nullptr);
    OpenLock<StreamTypeCollectionGroup> collections("", nullptr);
    std::string seen;
    Poco::Logger& root = Poco::Logger::root();
    root.setChannel(Poco::makeAuto<RootLoggerWatch>([&] {
        seen += streams.IsFree() ? "free " : "held ";
        seen += collections.IsFree() ? "free " : "held ";
    }));
    const BuiltTree malformed({List("Streams", {List("Stream", {})}),
                               List("TypeCollections", {List("TypeCollection", {})})});
    EXPECT_ANY_THROW(streams.Fill(serializer, malformed.Root(), types));
    EXPECT_ANY_THROW(collections.Fill(serializer, malformed.Root()));
    root.setChannel(nullptr);
    EXPECT_EQ(seen, "held free free held ");
    EXPECT_TRUE(streams.IsFree() && collections.IsFree());
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

}  // namespace
}  // namespace velmora::core::tessaryn
