// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/dispatcher.h"

#include "delivery/support.h"
#include "support/allocation_probe.h"

#include <Poco/Delegate.h>
#include <Poco/Exception.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <malloc.h>
#include <memory>
#include <new>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace velmora::test {
namespace {

using core::tessaryn::Always;
using testing::ElementsAre;

std::vector<int> Range(int begin, int end) {
    std::vector<int> numbers(static_cast<std::size_t>(end - begin));
    std::iota(numbers.begin(), numbers.end(), begin);
    return numbers;
}

// With workers that are woken, and with workers that look for changes at intervals.
class DispatcherTest : public testing::TestWithParam<std::chrono::milliseconds> {
  protected:
    static delivery::DispatcherOptions Workers(std::size_t count = 1) {
        return {.workers = count, .interval = GetParam()};
    }
};

INSTANTIATE_TEST_SUITE_P(Woken, DispatcherTest, testing::Values(0ms));
INSTANTIATE_TEST_SUITE_P(Gathering, DispatcherTest, testing::Values(1ms));

void ExpectSumsAdd(const DeliveryStatistics& counts) {
    EXPECT_EQ(counts.accepted, counts.delivered + counts.dropped + counts.waiting);
}

TEST_P(DispatcherTest, HandsOverMatchingChangesInOrderWithTheirKind) {
    NumberStream numbers;
    Log log;
    std::vector<core::tessaryn::StreamChangeType> kinds;
    Dispatcher dispatcher(Workers());
    const Delivery all = dispatcher.Subscribe(numbers.stream, Always(), [&](const Change& change) {
        kinds.push_back(change.changeType);
    });
    Delivery odd = dispatcher.Subscribe(numbers.stream, "n > 2 && pushed()", std::ref(log));
    for (int i = 0; i < 5; ++i) {
        numbers.Push(i);
    }
    numbers.stream.ChangeLatest([](Sample& sample) { sample.Set(0, 0, 9); }, true);
    numbers.stream.PopLatest();
    ASSERT_TRUE(dispatcher.Drain(patience));
    EXPECT_THAT(log.numbers, ElementsAre(3, 4));
    EXPECT_THAT(log.sequences, ElementsAre(1, 2));
    using core::tessaryn::changed, core::tessaryn::popped, core::tessaryn::pushed;
    EXPECT_THAT(kinds, ElementsAre(pushed, pushed, pushed, pushed, pushed, changed, popped));
    EXPECT_EQ(odd.GetStatistics().delivered, 2U);
    EXPECT_EQ(dispatcher.GetStatistics().delivered, 9U);
}

TEST_P(DispatcherTest, PassesStreamSenderAndACopyThatTheHandlerMayKeep) {
    NumberStream numbers;
    std::optional<Change> kept;
    Dispatcher dispatcher(Workers());
    Delivery delivery = dispatcher.Subscribe(numbers.stream, Always(),
                                             [&](Change& change) { kept = std::move(change); });
    numbers.Push(1);
    ASSERT_TRUE(delivery.Drain(patience));
    numbers.stream.ChangeLatest([](Sample& sample) { sample.Set(0, 0, 2); }, false);
    EXPECT_EQ(NumberOf(kept->sample), 1);
    EXPECT_EQ(kept->stream, &numbers.stream);
    EXPECT_EQ(kept->sender, nullptr);
    EXPECT_EQ(kept->path, "");
}

struct OverflowCase {
    const char* name;
    DeliveryOptions options;
    std::vector<int> handled;
    std::vector<std::uint64_t> dropped;
};

TEST_P(DispatcherTest, DropsByPolicyWhenTheQueueIsFull) {
    // The handler is blocked in 0 while 1 to 5 are pushed into a queue of two.
    const std::vector<OverflowCase> cases = {
        {"oldest", {.capacity = 2, .overflow = Overflow::dropOldest}, {0, 4, 5}, {0, 3, 0}},
        {"newest", {.capacity = 2, .overflow = Overflow::dropNewest}, {0, 1, 2}, {0, 0, 0}},
        {"latest", {.capacity = 2, .overflow = Overflow::keepLatest}, {0, 5}, {0, 4}},
        {"wait", {.capacity = 2, .overflow = Overflow::wait, .maxWait = 1us}, {0, 1, 2}, {0, 0, 0}},
    };
    for (const OverflowCase& test : cases) {
        SCOPED_TRACE(test.name);
        NumberStream numbers;
        Log log;
        Gate gate;
        Dispatcher dispatcher(Workers());
        Delivery delivery = dispatcher.Subscribe(
            numbers.stream, Always(),
            [&](const Change& change) {
                log(change);
                gate.Pass();
            },
            test.options);
        numbers.Push(0);
        gate.WaitForHandler();
        for (int i = 1; i <= 5; ++i) {
            numbers.Push(i);
        }
        const DeliveryStatistics held = delivery.GetStatistics();
        EXPECT_EQ(held.waiting, test.handled.size());
        EXPECT_EQ(held.maxWaiting, test.handled.size() - 1);
        ExpectSumsAdd(held);
        gate.Open();
        ASSERT_TRUE(delivery.Drain(patience));
        EXPECT_EQ(log.numbers, test.handled);
        EXPECT_EQ(log.dropped, test.dropped);
        EXPECT_EQ(delivery.GetStatistics().dropped, 6 - test.handled.size());
        ExpectSumsAdd(delivery.GetStatistics());
    }
}

TEST_P(DispatcherTest, LetsAPusherWaitUntilThereIsRoom) {
    NumberStream numbers;
    Log log;
    Dispatcher dispatcher(Workers());
    Delivery delivery =
        dispatcher.Subscribe(numbers.stream, Always(), std::ref(log),
                             {.capacity = 1, .overflow = Overflow::wait, .maxWait = patience});
    for (int i = 0; i < 2000; ++i) {
        numbers.Push(i);
    }
    ASSERT_TRUE(delivery.Drain(patience));
    EXPECT_EQ(log.numbers, Range(0, 2000));
    EXPECT_EQ(delivery.GetStatistics().dropped, 0U);
}

TEST_P(DispatcherTest, RefusesToWaitForAHandlerThatPushesToItsOwnStream) {
    // If waiting were not refused, this test would take a minute.
    NumberStream numbers;
    Dispatcher dispatcher(Workers());
    Delivery delivery =
        dispatcher.Subscribe(numbers.stream, "n < 100",
                             [&](const Change& change) {
                                 for (int i = 0; i < 5; ++i) {
                                     numbers.Push(NumberOf(change.sample) + 1);
                                 }
                             },
                             {.capacity = 1, .overflow = Overflow::wait, .maxWait = patience});
    numbers.Push(0);
    ASSERT_TRUE(delivery.Drain(patience));
    EXPECT_GT(delivery.GetStatistics().dropped, 0U);
    ExpectSumsAdd(delivery.GetStatistics());
}

TEST_P(DispatcherTest, GivesHandlersTurnsAndDoesNotLetASlowOneStarveOthers) {
    NumberStream slowSource;
    NumberStream quickSource;
    Gate gate;
    Log log;
    Dispatcher dispatcher(Workers(2));
    const Delivery slow =
        dispatcher.Subscribe(slowSource.stream, Always(), [&](const Change&) { gate.Pass(); });
    Delivery quick = dispatcher.Subscribe(quickSource.stream, Always(), std::ref(log));
    slowSource.Push(0);
    gate.WaitForHandler();
    for (int i = 0; i < 500; ++i) {
        quickSource.Push(i);
    }
    EXPECT_TRUE(quick.Drain(patience));
    EXPECT_EQ(log.GetNumbers(), Range(0, 500));
    gate.Open();
}

TEST_P(DispatcherTest, ContinuesAfterAHandlerThatThrowsAndReportsEachFailure) {
    NumberStream numbers;
    std::vector<std::string> failures;
    Dispatcher dispatcher(Workers());
    DeliveryOptions options;
    options.onError = [&](const std::exception_ptr& failure) {
        try {
            std::rethrow_exception(failure);
        } catch (const std::runtime_error& error) {
            failures.emplace_back(error.what());
        }
        throw std::logic_error("an error handler that fails, too");
    };
    Delivery delivery = dispatcher.Subscribe(
        numbers.stream, Always(),
        [](const Change& change) {
            throw std::runtime_error(std::to_string(NumberOf(change.sample)));
        },
        options);
    for (int i = 0; i < 3; ++i) {
        numbers.Push(i);
    }
    ASSERT_TRUE(delivery.Drain(patience));
    EXPECT_THAT(failures, ElementsAre("0", "1", "2"));
    EXPECT_EQ(delivery.GetStatistics().failures, 3U);
    EXPECT_EQ(delivery.GetStatistics().delivered, 3U);
}

TEST_P(DispatcherTest, HandsOverTheHistoryFirstThenEveryLaterChangeOnce) {
    // The ring has wrapped, and a thread keeps pushing while the subscription is made.
    for (const long ring : {7L, 1000L}) {
        NumberStream numbers(ring);
        for (int i = 0; i < 10; ++i) {
            numbers.Push(i);
        }
        Log log;
        Dispatcher dispatcher(Workers());
        std::thread pusher([&] {
            for (int i = 10; i < 2000; ++i) {
                numbers.Push(i);
            }
        });
        Delivery delivery = dispatcher.SubscribeWithHistory(numbers.stream, "n >= 0", std::ref(log),
                                                            {.capacity = 100000});
        pusher.join();
        ASSERT_TRUE(delivery.Drain(patience));
        ASSERT_FALSE(log.numbers.empty());
        EXPECT_LE(log.numbers.front(), 2000 - std::min(ring, 10L));
        EXPECT_EQ(log.numbers, Range(log.numbers.front(), 2000));
        EXPECT_EQ(log.sequences.front(), 1U);
        ExpectSumsAdd(delivery.GetStatistics());
    }
}

TEST_P(DispatcherTest, CallsNoHandlerAfterStopAndWaitsForTheRunningOne) {
    NumberStream numbers;
    auto alive = std::make_shared<int>(0);
    Gate gate;
    Dispatcher dispatcher(Workers());
    Delivery delivery =
        dispatcher.Subscribe(numbers.stream, Always(), [&gate, alive](const Change& /*change*/) {
            gate.Pass();
            ++*alive;
        });
    numbers.Push(0);
    numbers.Push(1);
    gate.WaitForHandler();
    std::thread opener([&] {
        while (!delivery.HasEnded()) {
            std::this_thread::yield();
        }
        gate.Open();
    });
    delivery.Stop();
    EXPECT_EQ(*alive, 1) << "Stop returned inside the handler, or the second change was handled";
    EXPECT_EQ(alive.use_count(), 1) << "the handler is still there";
    EXPECT_TRUE(delivery.HasEnded());
    opener.join();
    numbers.Push(2);
    EXPECT_EQ(delivery.GetStatistics().dropped, 1U);
    ExpectSumsAdd(delivery.GetStatistics());
}

// Pushes on another thread as long as it exists.
class Load {
  public:
    explicit Load(NumberStream& numbers)
        : pusher([this, &numbers] {
              while (isPushing) {
                  numbers.Push(0);
              }
          }) {}
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    ~Load() {
        isPushing = false;
        pusher.join();
    }

  private:
    std::atomic<bool> isPushing = true;
    std::thread pusher;
};

TEST_P(DispatcherTest, IsStoppedByItsHandlerWhileAnotherThreadPushes) {
    // Hunts a `Stop` that waits for its own handler, or for a concurrent pusher.
    NumberStream numbers;
    Dispatcher dispatcher(Workers());
    const Load load(numbers);
    for (int i = 0; i < 200; ++i) {
        Delivery delivery;
        std::latch assigned(1);
        std::latch stopped(1);
        int calls = 0;
        delivery = dispatcher.Subscribe(numbers.stream, Always(), [&](const Change&) {
            assigned.wait();
            ++calls;
            delivery.Stop();
            stopped.count_down();
        });
        assigned.count_down();
        stopped.wait();
        delivery.Stop();
        EXPECT_EQ(calls, 1);
    }
}

TEST_P(DispatcherTest, MayBeDestroyedWithTheObjectBehindItsHandlerUnderLoad) {
    NumberStream numbers;
    Dispatcher dispatcher(Workers(2));
    const Load load(numbers);
    for (int i = 0; i < 300; ++i) {
        auto target = std::make_unique<std::vector<int>>();
        const Delivery delivery = dispatcher.Subscribe(
            numbers.stream, Always(), [&list = *target](const Change&) { list.push_back(0); });
    }
    EXPECT_EQ(dispatcher.GetStatistics().waiting, 0U);
}

TEST_P(DispatcherTest, EndsAfterQueuedChangesWhenItsStreamIsDestroyed) {
    StreamType type;
    auto stream = std::make_unique<Stream>(NumberStream::Added(type), 10);
    Log log;
    Gate gate;
    std::latch ended(1);
    Dispatcher dispatcher(Workers());
    DeliveryOptions options;
    options.onEnd = [&] { ended.count_down(); };
    const Delivery delivery = dispatcher.Subscribe(
        *stream, Always(),
        [&](const Change& change) {
            gate.Pass();
            log(change);
        },
        options);
    for (int i = 0; i < 4; ++i) {
        stream->PushNew([&](Sample& sample) { sample.Set(0, 0, i); });
    }
    stream.reset();
    EXPECT_FALSE(delivery.HasEnded());
    gate.Open();
    ended.wait();
    EXPECT_TRUE(delivery.HasEnded());
    EXPECT_EQ(log.GetNumbers(), Range(0, 4));
}

TEST_P(DispatcherTest, EndsWhenTheStreamDropsItsSubscriptions) {
    NumberStream numbers;
    std::latch ended(1);
    Dispatcher dispatcher(Workers());
    DeliveryOptions options;
    options.onEnd = [&] { ended.count_down(); };
    const Delivery delivery = dispatcher.Subscribe(
        numbers.stream, Always(), [](Change&) {}, options);
    numbers.stream.Clear(Stream::clearSubscriptions);
    ended.wait();
    EXPECT_TRUE(delivery.HasEnded());
}

TEST_P(DispatcherTest, MayRaceWithTheEndOfItsStream) {
    // Hunts a handle that unsubscribes from a stream that is being destroyed.
    Dispatcher dispatcher(Workers());
    for (int i = 0; i < 500; ++i) {
        StreamType type;
        auto stream = std::make_unique<Stream>(NumberStream::Added(type), 10);
        Delivery delivery = dispatcher.Subscribe(*stream, Always(), [](Change&) {});
        stream->PushNew([](Sample& sample) { sample.Set(0, 0, 1); });
        std::latch both(2);
        std::thread other([&] {
            both.arrive_and_wait();
            delivery.Stop();
        });
        both.arrive_and_wait();
        stream.reset();
        other.join();
        EXPECT_TRUE(delivery.HasEnded());
    }
}

TEST_P(DispatcherTest, OutlivesItsDispatcherWhichMayGoUnderLoad) {
    NumberStream numbers;
    const Load load(numbers);
    for (int i = 0; i < 50; ++i) {
        std::atomic<int> calls = 0;
        Delivery delivery;
        {
            Dispatcher dispatcher(Workers(2));
            delivery = dispatcher.Subscribe(numbers.stream, Always(), [&](Change&) { ++calls; });
        }
        const int callsThen = calls;
        EXPECT_TRUE(delivery.HasEnded());
        ExpectSumsAdd(delivery.GetStatistics());
        EXPECT_EQ(calls, callsThen);
        EXPECT_EQ(delivery.GetStatistics().delivered, static_cast<std::uint64_t>(callsThen));
    }
}

TEST_P(DispatcherTest, LetsHandlersPushIntoEachOthersStreams) {
    // With delegates that push, two pushers would deadlock.
    NumberStream left;
    NumberStream right;
    Dispatcher dispatcher(Workers(2));
    const auto pushTo = [](NumberStream& other) {
        return [&other](const Change& change) { other.Push(NumberOf(change.sample) - 1); };
    };
    Delivery toRight = dispatcher.Subscribe(left.stream, "n > 0", pushTo(right));
    Delivery toLeft = dispatcher.Subscribe(right.stream, "n > 0", pushTo(left));
    std::thread pusher([&] { left.Push(1000); });
    right.Push(1000);
    pusher.join();
    while (dispatcher.GetStatistics().delivered < 2000) {
        ASSERT_TRUE(toRight.Drain(patience) && toLeft.Drain(patience));
    }
    EXPECT_EQ(dispatcher.GetStatistics().accepted, 2000U);
}

TEST_P(DispatcherTest, AllocatesNothingInTheSteadyStateButTheTwoArraysOfTheCopy) {
    NumberStream numbers(10);
    Gate gate;
    Dispatcher dispatcher(Workers());
    Delivery delivery = dispatcher.Subscribe(numbers.stream, Always(),
                                             [&](const Change&) { gate.Pass(); }, {.capacity = 16});
    numbers.Push(0);
    gate.WaitForHandler();
    for (int i = 0; i < 100; ++i) {
        numbers.Push(i);
    }
    const auto allocations = [](NumberStream& pushed) {
        const AllocationProbe probe;
        pushed.Push(1);
        return AllocationProbe::Count();
    };
    NumberStream bare(10);
    for (int i = 0; i < 100; ++i) {
        bare.Push(i);
    }
    // The stream's copy for its subscriptions allocates nothing.
    const auto withoutDelivery = allocations(bare);
    const auto withDelivery = allocations(numbers);
    EXPECT_EQ(withDelivery, withoutDelivery + 2);
    gate.Open();
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST_P(DispatcherTest, TakesLittleMemoryWhileItIsIdle) {
    // 10,000 on 1,000 streams, without the streams' memory for the subscriptions.
    constexpr std::size_t streams = 1000;
    constexpr std::size_t each = 10;
    StreamType type;
    NumberStream::Added(type);
    std::vector<std::unique_ptr<Stream>> subscribed;
    for (std::size_t i = 0; i < 2 * streams; ++i) {
        subscribed.push_back(std::make_unique<Stream>(&type, 10));
    }
    const auto bytesOf = [&](const auto& subscribe) {
        const std::size_t before = mallinfo2().uordblks;
        for (std::size_t i = 0; i < streams * each; ++i) {
            subscribe(i / each);
        }
        return (mallinfo2().uordblks - before) / (streams * each);
    };
    Dispatcher dispatcher(Workers(2));
    std::vector<Delivery> deliveries;
    deliveries.reserve(streams * each);
    NumberStream target;
    const std::size_t subscribedBytes = bytesOf([&](std::size_t i) {
        subscribed[i]->Subscribe({Always(), Poco::delegate(&target, &NumberStream::Ignore)});
    });
    const std::size_t delivered = bytesOf([&](std::size_t i) {
        deliveries.push_back(
            dispatcher.Subscribe(*subscribed[streams + i], Always(), [](Change&) {}));
    });
    EXPECT_LT(delivered, subscribedBytes + 1024);
    RecordProperty("bytes", static_cast<int>(delivered));
}
#endif

TEST_P(DispatcherTest, CountsEveryChangeThatThereIsNoMemoryFor) {
    long failAt = 0;
    for (bool isReached = true; isReached; ++failAt) {
        SCOPED_TRACE(failAt);
        NumberStream numbers(10);
        numbers.Push(1);
        numbers.Push(2);
        Log log;
        Dispatcher dispatcher(Workers());
        std::optional<Delivery> delivery;
        try {
            const AllocationProbe probe(failAt);
            delivery = dispatcher.SubscribeWithHistory(numbers.stream, "n > 0", std::ref(log));
            numbers.Push(3);
        } catch (const std::bad_alloc&) {
        }
        isReached = AllocationProbe::Count() > failAt;
        numbers.Push(4);
        if (!delivery) {
            EXPECT_THAT(log.GetNumbers(), testing::Not(testing::Contains(4)));
            continue;
        }
        ASSERT_TRUE(delivery->Drain(patience));
        const DeliveryStatistics counts = delivery->GetStatistics();
        EXPECT_EQ(log.GetNumbers().size(), counts.delivered);
        EXPECT_EQ(counts.accepted, counts.delivered + counts.dropped);
        EXPECT_LE(counts.dropped, isReached ? 1U : 0U);
        EXPECT_EQ(log.GetNumbers().back(), 4);
    }
    EXPECT_GT(failAt, 10) << "there are allocations";
}

TEST(Dispatcher, CollectsChangesUntilAWorkerLooks) {
    NumberStream numbers;
    Log log;
    std::atomic<int> started = 0;
    Dispatcher dispatcher({.workers = 2, .interval = 1h, .onStart = [&] { ++started; }});
    Delivery delivery = dispatcher.Subscribe(numbers.stream, Always(), std::ref(log));
    for (int i = 0; i < 100; ++i) {
        numbers.Push(i);
    }
    EXPECT_EQ(delivery.GetStatistics().waiting, 100U);
    ASSERT_TRUE(delivery.Drain(patience)) << "who waits for them hurries a worker";
    EXPECT_EQ(log.GetNumbers(), Range(0, 100));
    EXPECT_GE(started, 1);
}

TEST(Dispatcher, HandlesChangesThatArriveDuringATurn) {
    // Hunts a change that is missed when the other worker looks during the turn, and none looks
    // again.
    for (int i = 0; i < 20; ++i) {
        NumberStream numbers;
        Gate gate;
        Dispatcher dispatcher({.workers = 2, .interval = 1h});
        Delivery delivery =
            dispatcher.Subscribe(numbers.stream, Always(), [&](const Change&) { gate.Pass(); });
        numbers.Push(0);
        EXPECT_FALSE(delivery.Drain(0ms));
        gate.WaitForHandler();
        numbers.Push(1);
        std::thread drainer([&] { EXPECT_TRUE(delivery.Drain(patience)); });
        std::this_thread::yield();
        gate.Open();
        drainer.join();
    }
}

TEST_P(DispatcherTest, RefusesWhatCannotWork) {
    NumberStream numbers;
    Dispatcher dispatcher(Workers());
    const auto ignore = [](Change&) {};
    EXPECT_THROW(Dispatcher(0), std::invalid_argument);
    EXPECT_THROW(Dispatcher({.interval = -1ms}), std::invalid_argument);
    EXPECT_THROW((void)dispatcher.Subscribe(numbers.stream, "n >", ignore), Poco::SyntaxException);
    EXPECT_THROW((void)dispatcher.Subscribe(numbers.stream, Always(), nullptr),
                 std::invalid_argument);
    EXPECT_THROW((void)dispatcher.Subscribe(numbers.stream, Always(), ignore, {.capacity = 0}),
                 std::invalid_argument);
    numbers.Push(1);
    EXPECT_THROW((void)dispatcher.SubscribeWithHistory(numbers.stream, "!", ignore),
                 Poco::InvalidAccessException);
    EXPECT_EQ(dispatcher.GetStatistics().accepted, 0U);
}

}  // namespace
}  // namespace velmora::test
