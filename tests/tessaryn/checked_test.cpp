// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/samples.h"
#include "support/subscribers.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <utility>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

// What a host does, and the sentence with which a checked library ends it.
TEST(CheckedStreamDeathTest, EndsAHostThatBreaksItsContract) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    TestType layout{{"x", Int32, 1}};
    TestType other{{"y", Double, 1}};
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
    };
    for (const auto& each : cases) {
        EXPECT_DEATH(each.action(), each.sentence) << each.name;
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
