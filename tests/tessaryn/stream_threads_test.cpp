// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/node_builder.h"
#include "support/ring_model.h"
#include "tessaryn/errors.h"
#include "tessaryn/pushing_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::NodeRef;
using serialization::NodeSerializer;
using serialization::NodeTree;

constexpr int rounds = 300;

// A stream whose samples hold one number twice, so that one that is read half written shows.
class SharedStream : public testing::Test {
  protected:
    static std::function<void(Sample&)> Fill(long long number) {
        return [number](Sample& sample) {
            sample.Set(0, 0, number);
            sample.Set(1, std::string(static_cast<std::size_t>(number % 40), 'x'));
            sample.Set(2, 0, number);
        };
    }
    Sample Filled(long long number) {
        Sample sample(&layout.type, Poco::Timestamp());
        Fill(number)(sample);
        return sample;
    }
    void PushBatch(long long number) {
        std::unique_ptr<Sample> batch[] = {std::make_unique<Sample>(Filled(number))};
        stream.PushMany(batch, nullptr);
    }
    void Look(const Sample& sample) {
        torn += sample.GetInt64(0, 0) != sample.GetInt64(2, 0) ? 1 : 0;
        torn += sample.GetString(1).size() != static_cast<std::size_t>(sample.GetInt64(0, 0) % 40);
    }
    Stream::SamplesCallback LookAtAll() {
        return [this](const std::vector<Sample*>& samples) {
            for (const Sample* sample : samples) {
                Look(*sample);
            }
        };
    }

    // Runs each task many times on a thread of its own.
    static void Run(const std::vector<std::function<void(int)>>& tasks) {
        std::atomic<bool> go = false;
        std::vector<std::thread> threads;
        for (const auto& task : tasks) {
            threads.emplace_back([&task, &go] {
                go.wait(false);
                for (int i = 0; i < rounds; ++i) {
                    task(i);
                }
            });
        }
        go = true;
        go.notify_all();
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    static constexpr Poco::Timestamp::TimeVal times[] = {1};
    TestType layout{{{"a", Int64, 1}, {"text", String, 0}, {"b", Int64, 1}}};
    Stream stream{&layout.type, 7};
    std::atomic<int> torn = 0;
};

// Every public operation runs beside every other. Whichever of them does without the lock, another
// one runs into it: a sample is read half written or deleted under its reader, or the slots change
// under a query. Each has a thread of its own, where no other operation's lock orders its accesses.
// The thread sanitizer reports the race; without it, torn samples show.
TEST_F(SharedStream, RunsEveryOperationBesideEveryOther) {
    const std::string bytes = BinaryOf(Filled(7));
    const NodeTree nodes;
    NodeRef sampleNode = nodes.GetRoot().AddNode("Sample", serialization::NodeElement);
    Filled(8).Serialize(NodeSerializer(), sampleNode);
    const BuiltTree list({List("Samples", {})});
    NodeRef listed = list.Root()["Samples"].AddNode("Sample", serialization::NodeElement);
    Filled(9).Serialize(NodeSerializer(), listed);
    // Plain integers: the stream's lock alone orders the notifications.
    int notified[3] = {};
    stream.Subscribe(SubscriptionOf(1, [&](Stream& sender, SubscriptionArgs& args) {
        ++notified[args.changeType];
        Look(*args.sample);
        sender.GetAll(LookAtAll());
    }));
    Run({[&](int i) { stream.PushNew(Fill(i)); },
         [&](int i) { stream.PushNew(new Sample(Filled(i))); },
         [&](int) {
             std::istringstream in(bytes);
             stream.PushNew(in, nullptr);
         },
         [&](int) { stream.PushNew(NodeSerializer(), sampleNode); },
         [&](int i) { PushBatch(i); },
         [&](int) { stream.PushMany(times, bytes, nullptr); },
         [&](int) { stream.Fill(NodeSerializer(), list.Root()); },
         [&](int i) {
             stream.AtomicExecute([&] {
                 if (!stream.IsEmpty()) {
                     stream.ChangeLatest(Fill(i), true);
                 }
             });
         },
         [&](int) {
             std::istringstream in(bytes);
             stream.DeserializeLatest(in, nullptr);
         },
         [&](int) { stream.PopLatest(); },
         [&](int i) {
             if (i % 10 == 9) {
                 stream.Clear(Stream::clearSamples);
             }
         },
         [&](int) { stream.TryGetLatest([this](const Sample& sample) { Look(sample); }); },
         [&](int) {
             try {
                 stream.GetLatest([this](const Sample& sample) { Look(sample); });
             } catch (const ItemNotFoundException&) {
                 // Popped or cleared.
             }
         },
         [&](int) { stream.GetAll(LookAtAll()); },
         [&](int) { stream.GetAllInPushOrder(LookAtAll()); },
         [&](int) { stream.GetSince(Poco::Timestamp(0), LookAtAll()); },
         [&](int) { stream.GetSinceInPushOrder(Poco::Timestamp(0), LookAtAll()); },
         [&](int) {
             stream.GetBetween(Poco::Timestamp(0), Poco::Timestamp::TIMEVAL_MAX, LookAtAll());
         },
         [&](int) { stream.GetLast(std::chrono::hours(1), LookAtAll()); },
         [&](int) { EXPECT_LE(stream.GetNumSamples(), 7); },
         [&](int) { stream.CountPushes(); },
         [&](int) { stream.CountSubscriptions(); },
         [&](int) { stream.IsEmpty(); },
         [&](int) {
             const NodeTree tree;
             NodeRef root = tree.GetRoot();
             stream.Serialize(NodeSerializer(), root);
             EXPECT_LE(root["Samples"].GetNodes().size(), 7U);
         },
         [&](int i) {
             if (i % 10 == 9) {
                 stream.Clear(Stream::clearSubscriptions);
                 stream.Subscribe(SubscriptionOf(
                     1, [&](Stream&, SubscriptionArgs& args) { ++notified[args.changeType]; }));
             }
         },
         [&](int) {
             const auto other =
                 SubscriptionOf(2, [&](Stream&, SubscriptionArgs& args) { Look(*args.sample); });
             stream.Subscribe(other);
             stream.Unsubscribe(other);
         }});
    EXPECT_EQ(torn, 0);
    EXPECT_LE(notified[pushed], 7 * rounds);
}

// A host's pushes do not come between the samples of a node.
TEST_F(SharedStream, FillsAsOneOperation) {
    const BuiltTree list({List("Samples", {})});
    for (const long long number : {1, 2}) {
        NodeRef node = list.Root()["Samples"].AddNode("Sample", serialization::NodeElement);
        Sample sample = Filled(number);
        // Takes a while to read, so that a push that waits for the lock would come first.
        sample.Set(1, std::string(1000000, 'x'));
        sample.Serialize(NodeSerializer(), node);
    }
    long long last = 0;
    int interrupted = 0;
    stream.Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs& args) {
        const long long number = args.sample->GetInt64(0, 0);
        interrupted += number == 2 && last != 1 ? 1 : 0;
        last = number;
    }));
    std::atomic<bool> done = false;
    std::thread pushing([&] {
        while (!done) {
            stream.PushNew(Fill(3));
        }
    });
    for (int i = 0; i < 120; ++i) {
        stream.Fill(NodeSerializer(), list.Root());
    }
    done = true;
    pushing.join();
    EXPECT_EQ(interrupted, 0);
}

// Each operation alone beside itself, so that no other lock hides that its own is missing.
TEST_F(SharedStream, LosesNothingOfOneOperationOnManyThreads) {
    const std::string bytes = BinaryOf(Filled(7));
    const NodeTree nodes;
    NodeRef node = nodes.GetRoot();
    Filled(8).Serialize(NodeSerializer(), node);
    int notified = 0;
    const struct {
        const char* name;
        std::function<void(int)> operation;
        int notifications;
    } cases[] = {{"fill", [&](int i) { stream.PushNew(Fill(i)); }, 1},
                 {"sample", [&](int i) { stream.PushNew(new Sample(Filled(i))); }, 1},
                 {"bytes",
                  [&](int) {
                      std::istringstream in(bytes);
                      stream.PushNew(in, nullptr);
                  },
                  1},
                 {"node", [&](int) { stream.PushNew(NodeSerializer(), node); }, 1},
                 {"batch", [&](int i) { PushBatch(i); }, 1},
                 {"encoded batch", [&](int) { stream.PushMany(times, bytes, nullptr); }, 1},
                 {"change", [&](int i) { stream.ChangeLatest(Fill(i), true); }, 1},
                 {"decode",
                  [&](int) {
                      std::istringstream in(bytes);
                      stream.DeserializeLatest(in, nullptr);
                  },
                  1},
                 {"push and pop",
                  [&](int i) {
                      stream.PushNew(Fill(i));
                      stream.PopLatest();
                  },
                  2}};
    for (const auto& each : cases) {
        stream.Clear(Stream::clearSamples | Stream::clearSubscriptions);
        stream.PushNew(Fill(0));
        notified = 0;
        stream.Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs&) { ++notified; }));
        Run({each.operation, each.operation, each.operation});
        EXPECT_EQ(notified, 3 * rounds * each.notifications) << each.name;
        stream.GetAll(LookAtAll());
        EXPECT_EQ(torn, 0) << each.name;
    }
}

TEST(PushingThreads, AreManyFromTheThirdUntilNoneHasPushedForLong) {
    PushingThreads threads;
    for (const Poco::Thread::TID one : {1, 1, 2, 1, 2, 2, 1}) {
        EXPECT_FALSE(threads.AreManyWith(one));
    }
    EXPECT_TRUE(threads.AreManyWith(3));
    int pushes = 0;
    while (threads.AreManyWith(3) && pushes < 10'000) {
        ++pushes;
    }
    EXPECT_GT(pushes, 100);
    EXPECT_LT(pushes, 10'000);
}

}  // namespace
}  // namespace velmora::core::tessaryn
