// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/logged_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

constexpr unsigned int all = Stream::clearSamples | Stream::clearSubscriptions;

// What callbacks do to the stream that calls them.
class StreamCallbacks : public LoggedStream {};

TEST_F(StreamCallbacks, ThatThrowLeaveWhatWasDone) {
    struct Trouble {};
    const auto fails = [](auto&&...) { throw Trouble(); };
    const auto passes = [](auto&&...) {};
    std::istringstream in;
    const struct {
        std::function<void()> operation;
        std::vector<int> stored;
        std::string log;
    } cases[] = {{[&] { stream.PushNew(fails); }, {1, 2, 0}, ""},
                 {[&] { stream.PushNew(in, nullptr); }, {1, 2, 0}, ""},
                 {[&] { stream.DeserializeLatest(in, nullptr); }, {1, 2}, ""},
                 {[&] { stream.ChangeLatest(fails, true); }, {1, 2}, ""},
                 {[&] { stream.PushNew(passes); }, {1, 2, 0}, "a0 "},
                 {[&] { stream.PopLatest(); }, {1}, "a2- "},
                 {[&] { stream.ChangeLatest(passes, true); }, {1, 2}, "a2 "}};
    for (const auto& each : cases) {
        in = std::istringstream(std::string(9, '\1'));
        in.exceptions(std::ios::failbit);
        stream.Clear(all);
        LogOf(1);
        LogOf(2);
        stream.Subscribe(Logging(0, fails));
        EXPECT_ANY_THROW(each.operation());
        EXPECT_EQ(AllOf(stream), each.stored);
        EXPECT_EQ(log, each.log);
    }
}

// In a ring of three, a callback can refer to three samples while three others are stored.
TEST_F(StreamCallbacks, KeepNoSampleThatTheyCannotHaveInHand) {
    const auto push = [&] { stream.PushNew(new CountedSample(&layout.type, Poco::Timestamp())); };
    const struct {
        const char* name;
        std::function<void()> action;
    } actions[] = {
        {"push", push},
        {"push inside a query",
         [&] { stream.GetAll([&](const std::vector<Sample*>&) { push(); }); }},
        {"push inside a change", [&] { stream.ChangeLatest([&](Sample&) { push(); }, true); }},
        {"push and pop inside a query",
         [&] {
             push();
             stream.GetAll([&](const std::vector<Sample*>&) { stream.PopLatest(); });
             push();
         }},
        {"clear inside a query", [&] {
             push();
             stream.GetAll([&](const std::vector<Sample*>&) {
                 push();
                 stream.Clear(Stream::clearSamples);
             });
             push();
         }}};
    for (const auto& each : actions) {
        for (int i = 0; i < 3; ++i) {
            push();
        }
        int maxLive = 0;
        stream.GetAll([&](const std::vector<Sample*>& samples) {
            for (int i = 0; i < 20; ++i) {
                each.action();
                maxLive = std::max<int>(maxLive, CountedSample::live);
            }
            for (const Sample* const sample : samples) {
                EXPECT_EQ(sample->GetInt32(0, 0), 0) << each.name;
            }
        });
        EXPECT_LE(maxLive, 6) << each.name;
        EXPECT_LE(CountedSample::live, 3) << each.name;
    }
}

// Calls the stream when it is deleted.
class CallingSample : public Sample {
  public:
    CallingSample(core::tessaryn::StreamType* type, std::function<void()> calledAtEnd)
        : Sample(type, Poco::Timestamp()), atEnd(std::move(calledAtEnd)) {}
    CallingSample(const CallingSample&) = delete;
    CallingSample& operator=(const CallingSample&) = delete;
    ~CallingSample() override { atEnd(); }

  private:
    std::function<void()> atEnd;
};

TEST_F(StreamCallbacks, MayComeFromTheDestructorOfASample) {
    Stream small(&layout.type, 1);
    const std::function<void()> calls[] = {
        [&] { small.PopLatest(); }, [&] { small.Clear(Stream::clearSamples); },
        [&] { small.PushNew(new CountedSample(&layout.type, Poco::Timestamp())); },
        [&] { small.GetAll([](const std::vector<Sample*>&) {}); }};
    int notified = 0;
    small.Subscribe(SubscriptionOf(0, [&](Stream&, SubscriptionArgs& args) {
        notified += args.changeType == pushed ? args.sample->GetInt32(0, 0) : 0;
    }));
    for (const auto& call : calls) {
        const std::function<void()> overwrite[] = {
            [&] { small.PushNew([](Sample& sample) { sample.Set(0, 0, 1); }); },
            [&] {
                auto sample = std::make_unique<CountedSample>(&layout.type, Poco::Timestamp());
                sample->Set(0, 0, 1);
                small.PushNew(sample.release());
            },
            [&] { small.PopLatest(); }, [&] { small.Clear(Stream::clearSamples); }};
        for (const auto& each : overwrite) {
            small.PushNew(new CallingSample(&layout.type, call));
            each();
        }
    }
    EXPECT_EQ(notified, 8);
}

class Bytes : public std::stringbuf {
  public:
    Bytes(const std::string& bytes, std::function<void()> action)
        : std::stringbuf(bytes), act(std::move(action)) {}

  protected:
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        act();
        return std::stringbuf::xsgetn(to, count);
    }

  private:
    std::function<void()> act;
};

TEST_F(StreamCallbacks, OfAnInputMayClear) {
    stream.Subscribe(Logging(0));
    Bytes bytes(BinaryForm({BytesOf(4)}), [&] { stream.Clear(Stream::clearSamples); });
    std::istream in(&bytes);
    stream.PushNew(in, nullptr);
    EXPECT_EQ(log, "a4 ");
    EXPECT_TRUE(stream.IsEmpty());
}

// Each call of the host's code fails once. Later operations work as if nothing had happened.
TEST_F(StreamCallbacks, MayFailAtEveryStep) {
    struct Failure {};
    int taken = 0;
    int failing = -1;
    const auto use = [&](auto&&...) {
        if (taken++ == failing) {
            throw Failure();
        }
    };
    onHostCall = use;
    const auto subscription = [&](int target) {
        const TestRule lent([&](SubscriptionArgs&) {
            use();
            return true;
        });
        const TestDelegate delegate = Target(target, [&, target](const SubscriptionArgs& args) {
            use();
            if (target == 1 && args.changeType == changed) {
                stream.Unsubscribe(Logging(1));
                stream.PopLatest();
            }
        });
        return target == 0 ? StreamSubscription(lent, delegate)
                           : StreamSubscription(new TestRule(lent), delegate);
    };
    const auto live = [&] {
        stream.Subscribe(subscription(0));
        stream.Subscribe(subscription(1));
        stream.PushNew(use);
        stream.ChangeLatest(use, true);
        Bytes bytes(BinaryForm({BytesOf(4)}), use);
        std::istream in(&bytes);
        in.exceptions(std::ios::badbit);
        stream.PushNew(in, nullptr);
        stream.DeserializeLatest(in, nullptr);
        stream.GetLatest(use);
        stream.GetAll(use);
        stream.AtomicExecute(use);
        stream.Unsubscribe(subscription(0));
        stream.PopLatest();
        stream.PopLatest();
    };
    live();
    const std::string complete = std::exchange(log, "");
    const int count = std::exchange(taken, 0);
    EXPECT_GT(count, 30);
    for (failing = 0; failing < count; ++failing) {
        SCOPED_TRACE(failing);
        stream.Clear(all);
        taken = 0;
        EXPECT_THROW(live(), Failure);
        EXPECT_EQ(complete.rfind(log, 0), 0U) << log;
        stream.Clear(all);
        EXPECT_EQ(TestRule::live + TestDelegate::live, 0);
        log.clear();
        live();
        EXPECT_EQ(log, complete);
        log.clear();
    }
    EXPECT_TRUE(LocksAreFree(stream));
}

}  // namespace
}  // namespace velmora::core::tessaryn
