// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/samples.h"
#include "support/subscribers.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

// What a host does, and the sentence with which a checked library ends it.
TEST(CheckedStreamDeathTest, EndsAHostThatBreaksItsContract) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    TestType layout{{"x", Int32, 1}};
    TestType other{{"y", Double, 1}};
    StreamRepository streams(Poco::Logger::root(), '/');
    StreamGroup& root = streams.GetRoot();
    const auto make = [&] {
        auto stream = std::make_unique<Stream>(&layout.type, 3);
        stream->PushNew([](Sample&) {});
        return stream;
    };
    const char* const destroyed = "velmora: A stream was destroyed in one of its own callbacks.";
    const char* const changed =
        "velmora: A callback left a sample of another stream type, or without one, in a stream.";
    const struct {
        const char* name;
        std::function<void()> action;
        const char* sentence;
    } cases[] = {
        {"destroyed in a fill",
         [&] {
             auto stream = make();
             Stream& used = *stream;
             used.PushNew([&](Sample&) { stream.reset(); });
         },
         destroyed},
        {"destroyed in a query",
         [&] {
             auto stream = make();
             const Stream& used = *stream;
             used.GetLatest([&](const Sample&) { stream.reset(); });
         },
         destroyed},
        {"destroyed in a delegate",
         [&] {
             auto stream = make();
             Stream& used = *stream;
             used.Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs&) { stream.reset(); }));
             used.PushNew([](Sample&) {});
         },
         destroyed},
        {"another type after a fill",
         [&] { make()->PushNew([&](Sample& sample) { sample = Sample(&other.type, 0); }); },
         changed},
        {"moved out of a change",
         [&] {
             make()->ChangeLatest([](Sample& sample) { const Sample taken = std::move(sample); },
                                  false);
         },
         changed},
        {"pushed twice",
         [&] {
             auto stream = make();
             auto* const sample = new Sample(&layout.type, 0);
             stream->PushNew(sample);
             stream->PushNew(sample);
         },
         "velmora: A sample was pushed twice."},
        {"type changed",
         [&] {
             auto stream = make();
             layout.type.Add("later", Int32, 1);
             stream->PushNew([](Sample&) {});
         },
         "velmora: A stream type was changed while a stream of it was in use."},
        {"repository in a callback",
         [&] { make()->GetAll([&](const std::vector<Sample*>&) { streams.GetStreamPtr("a"); }); },
         "velmora: The lock of a stream repository was taken while that of a stream's samples was"},
        {"group in a delegate",
         [&] {
             auto stream = make();
             stream->Subscribe(
                 SubscriptionOf(1, [&](Stream&, SubscriptionArgs&) { root.GetStreamPtr("a"); }));
             stream->PushNew([](Sample&) {});
         },
         "velmora: The lock of a group of streams was taken while that of a stream's "
         "samples was held"},
        {"stream in a comparison",
         [&] {
             auto stream = make();
             stream->Subscribe(SubscriptionOf(1, {}));
             onHostCall = [&] { stream->IsEmpty(); };
             stream->Unsubscribe(SubscriptionOf(1, {}));
         },
         "velmora: The lock of a stream's samples was taken while that of a stream's "
         "subscriptions"},
    };
    for (const auto& each : cases) {
        EXPECT_DEATH(each.action(), each.sentence) << each.name;
    }
}

TEST(CheckedStream, AcceptsLocksInOrderAndRecursively) {
    TestType layout{{"x", Int32, 1}};
    StreamTypeRepository types(Poco::Logger::root(), '/');
    StreamRepository streams(Poco::Logger::root(), '/');
    Stream& stream = *streams.AddStream("a/b", &layout.type, 3);
    Stream& other = *streams.AddStream("a/c", &layout.type, 3);
    const auto fill = [&](Sample&) { EXPECT_NE(types.GetPtr("Any"), nullptr); };
    stream.Subscribe(SubscriptionOf(1, [&](Stream& sender, SubscriptionArgs&) {
        other.PushNew(fill);
        onHostCall = [&] { other.PopLatest(); };
        sender.Unsubscribe(SubscriptionOf(1, {}));
        sender.PushNew(fill);
    }));
    streams.ForEachStream([&](const std::string& path, Stream& visited) {
        if (streams.GetStreamPtr(path) == &stream) {
            visited.PushNew(fill);
        }
    });
    onHostCall = [] {};
    // Destroyed, with what it holds, once the lock is free.
    std::shared_ptr<void> last(nullptr, [&](void*) { stream.PopLatest(); });
    stream.Subscribe(SubscriptionOf(2, [keep = std::move(last)](Stream&, SubscriptionArgs&) {}));
    stream.Unsubscribe(SubscriptionOf(2, {}));
    EXPECT_EQ(stream.GetNumSamples(), 1);
    EXPECT_TRUE(other.IsEmpty());
    EXPECT_TRUE(streams.IsStreamTypeInUse(&layout.type));
    streams.Clear();
}

}  // namespace
}  // namespace velmora::core::tessaryn
