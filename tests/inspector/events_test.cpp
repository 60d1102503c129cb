// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/client.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace velmora::test {

namespace {

using core::tessaryn::Sample;
using core::tessaryn::Stream;

class InspectorEvents : public InspectorTest {
  protected:
    InspectorEvents() {
        streams.AddStream("a", tank, 10);
        streams.AddStream("b", tank, 10);
    }

    /// Starts watching, and waits until the server does.
    void Watch(RawClient& client, const std::string& parameters) const {
        client.Send("GET /api/events?" + parameters + " HTTP/1.1\r\nHost: localhost\r\n\r\n");
        const std::string head = client.ReadUntil("retry: 2000\n\n");
        EXPECT_NE(head.find("Content-Type: text/event-stream"), std::string::npos) << head;
    }
    void WaitForNoSubscriptions() {
        while (streams.GetStream("a").CountSubscriptions() > 0) {
            std::this_thread::yield();
        }
    }
};

TEST_F(InspectorEvents, SendsChangesAndMatches) {
    Start();
    RawClient client(Port());
    Watch(client, "path=a&path=b&rule=level+%3E+1&entries=level");
    Push("a", 1, 1);
    EXPECT_EQ(client.ReadUntil("\n\n"),
              "event: sample\ndata: "
              R"({"path":"a","kind":"pushed","time":1,"values":{"level":1}})"
              "\n\n");
    Push("b", 2, 2);
    EXPECT_EQ(client.ReadUntil("\n\n"),
              "event: sample\ndata: "
              R"({"path":"b","kind":"pushed","time":2,"values":{"level":2}})"
              "\n\n");
    EXPECT_EQ(client.ReadUntil("\n\n"),
              "event: match\ndata: "
              R"({"path":"b","kind":"pushed","time":2,"values":{"level":2}})"
              "\n\n");
    streams.GetStream("b").PopLatest();
    EXPECT_NE(client.ReadUntil("\n\n").find(R"("kind":"popped")"), std::string::npos);
    Push("a", 3, 3, 0, "line\nfeed");
    streams.GetStream("a").ChangeLatest([](Sample&) {}, true);
    EXPECT_NE(client.ReadUntil("changed").find("match"), std::string::npos);
}

TEST_F(InspectorEvents, SharesOneDeliveryBetweenClients) {
    Start();
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 5; ++i) {
        clients.push_back(std::make_unique<RawClient>(Port()));
        Watch(*clients.back(), "path=a");
    }
    EXPECT_EQ(streams.GetStream("a").CountSubscriptions(), 1U);
    Push("a", 1, 1);
    for (const auto& client : clients) {
        EXPECT_NE(client->ReadUntil("\n\n").find("event: sample"), std::string::npos);
    }
    clients.clear();
    WaitForNoSubscriptions();
    EXPECT_EQ(streams.GetStream("b").CountSubscriptions(), 0U);
}

TEST_F(InspectorEvents, ReportsThatAStreamWasRemoved) {
    Start();
    RawClient client(Port());
    Watch(client, "path=a&path=b");
    Push("a", 1, 1);
    streams.Remove("a");
    EXPECT_NE(client.ReadUntil("\n\n").find("event: sample"), std::string::npos);
    EXPECT_EQ(client.ReadUntil("\n\n"), "event: gone\ndata: {\"path\":\"a\"}\n\n");
    Push("b", 1, 1);
    EXPECT_NE(client.ReadUntil("\n\n").find("event: sample"), std::string::npos);
    // A new stream of the path is another one.
    streams.AddStream("a", tank, 10);
    RawClient second(Port());
    Watch(second, "path=a");
    Push("a", 2, 2);
    EXPECT_NE(second.ReadUntil("\n\n").find(R"("time":2)"), std::string::npos);
}

TEST_F(InspectorEvents, SendsHeartbeats) {
    options.limits.heartbeat = std::chrono::milliseconds(20);
    Start();
    RawClient client(Port());
    Watch(client, "path=a");
    EXPECT_EQ(client.ReadUntil(":\n\n:\n\n"), ":\n\n:\n\n");
}

// Pushes continue, and a client that reads again learns how many changes were lost.
TEST_F(InspectorEvents, CountsWhatASlowClientLoses) {
    options.limits.maxQueuedBytes = 10'000;
    Start();
    RawClient client(Port());
    Watch(client, "path=a&entries=level");
    constexpr std::uint64_t pushes = 20'000;
    for (std::uint64_t i = 1; i <= pushes; ++i) {
        Push("a", static_cast<std::int64_t>(i), 1);
    }
    std::uint64_t seen = 0;
    std::uint64_t lost = 0;
    while (seen + lost < pushes) {
        const std::string event = client.ReadUntil("\n\n");
        if (event.starts_with("event: sample")) {
            ++seen;
        } else if (event.starts_with("event: lost")) {
            lost += std::stoull(event.substr(event.find("count\":") + 7));
        } else {
            ASSERT_EQ(event, ":\n\n");
        }
    }
    EXPECT_EQ(seen + lost, pushes);
    EXPECT_GT(seen, 0U);
    EXPECT_GT(lost, 0U);
}

TEST_F(InspectorEvents, DropsClientsThatReadNothing) {
    options.limits.sendTime = std::chrono::milliseconds(200);
    Start();
    RawClient client(Port());
    client.socket.setReceiveBufferSize(4096);
    Watch(client, "path=a");
    const std::string note(1000, 'x');
    while (streams.GetStream("a").CountSubscriptions() > 0) {
        Push("a", 1, 1, 0, note);
    }
}

TEST_F(InspectorEvents, BoundsWatchers) {
    options.limits.maxWatchers = 2;
    options.limits.maxWatched = 1;
    Start();
    RawClient first(Port());
    RawClient second(Port());
    Watch(first, "path=a");
    Watch(second, "path=a&path=a");
    EXPECT_EQ(Get("/api/events?path=a").status, 503);
    EXPECT_EQ(Get("/api/events?path=a&path=b").status, 400);
    EXPECT_EQ(Get("/api/events").status, 400);
    EXPECT_EQ(Get("/api/events?path=a&rule=(").status, 400);
    second.socket.close();
    while (Get("/api/events?path=nosuch").status != 404) {
    }
    EXPECT_EQ(Get("/api/events?path=a", "", "HEAD").status, 200);
    inspector->Stop();
    EXPECT_EQ(streams.GetStream("a").CountSubscriptions(), 0U);
}

// Streams are added and removed, and clients connect and leave, while other threads push.
TEST_F(InspectorEvents, LivesThroughChangesOfEverything) {
    Start();
    std::atomic<bool> isOver = false;
    std::thread pusher([&] {
        while (!isOver) {
            streams.AtomicExecute([&] {
                if (streams.GetStreamPtr("a") != nullptr) {
                    Push("a", 1, 1);
                }
            });
        }
    });
    std::thread remover([&] {
        while (!isOver) {
            streams.AtomicExecute([&] { streams.Remove("a"); });
            streams.AtomicExecute([&] { streams.AddStream("a", tank, 100); });
        }
    });
    for (int i = 0; i < 40; ++i) {
        RawClient client(Port());
        client.Send("GET /api/events?path=a HTTP/1.1\r\nHost: localhost\r\n\r\n");
        if (i % 2 == 0) {
            client.ReadUntil("\r\n");
        }
        for (const char* address :
             {"/api/stream?path=a", "/api/samples?path=a", "/api/tree", "/metrics"}) {
            EXPECT_LT(Get(address).status, 500) << address;
        }
    }
    RawClient last(Port());
    last.Send("GET /api/events?path=a HTTP/1.1\r\nHost: localhost\r\n\r\n");
    inspector->Stop();
    isOver = true;
    pusher.join();
    remover.join();
}

}  // namespace

}  // namespace velmora::test
