// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// nats_benchmark [SAMPLES]: publishes samples of workload W through a server on loopback, beside a
// bare program of the client library that sends the same bytes with acknowledgements, and follows
// them. Wall time: the server does its share meanwhile. Prints a Markdown table.

#include "exchange/frame_encoder.h"
#include "nats/connection.h"
#include "nats/follower.h"
#include "nats/publisher.h"
#include "nats/server.h"
#include "streams.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <memory>
#include <nats/nats.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace velmora::benchmarks {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::size_t maxInFlight = 4096;
constexpr int repetitions = 3;

double SecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

void Check(natsStatus status) {
    if (status != NATS_OK) {
        throw std::runtime_error(natsStatus_GetText(status));
    }
}

// The same bytes, sent by the client library alone.
double PublishBare(const std::string& url, int samples) {
    natsConnection* connection = nullptr;
    jsCtx* context = nullptr;
    Check(natsConnection_ConnectTo(&connection, url.c_str()));
    jsOptions options;
    jsOptions_Init(&options);
    options.PublishAsync.MaxPending = maxInFlight;
    options.PublishAsync.StallWait = 60000;
    Check(natsConnection_JetStream(&context, connection, &options));
    jsStreamConfig config;
    jsStreamConfig_Init(&config);
    const char* subjects[] = {"bare.>"};
    config.Name = "bare";
    config.Subjects = subjects;
    config.SubjectsLen = 1;
    Check(js_AddStream(nullptr, context, &config, nullptr, nullptr));
    Sample sample(&TypeOfValues(), Poco::Timestamp());
    Fill(sample, ValueSets().front());
    exchange::FrameEncoder encoder;
    const std::string frame(encoder.Encode(sample, {}));
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < samples; ++i) {
        jsPubOptions one;
        jsPubOptions_Init(&one);
        const std::string id = "bare.tank:1:" + std::to_string(i);
        one.MsgId = id.c_str();
        Check(js_PublishAsync(context, "bare.tank", frame.data(), static_cast<int>(frame.size()),
                              &one));
    }
    Check(js_PublishAsyncComplete(context, nullptr));
    const double seconds = SecondsSince(begin);
    jsCtx_Destroy(context);
    natsConnection_Destroy(connection);
    return seconds;
}

// A process that follows.
struct Peer {
    explicit Peer(const std::string& url) : connection(url) {
        nats::FollowerOptions options;
        options.takesOwn = true;
        options.start = nats::Start::now;
        follower = std::make_unique<nats::Follower>(connection, types, streams,
                                                    std::vector<std::string>{"ours.>"}, options);
    }

    std::uint64_t GetPushed() const { return follower->GetStatistics().pushed; }

    core::tessaryn::StreamTypeRepository types{Poco::Logger::root(), '/'};
    core::tessaryn::StreamRepository streams{Poco::Logger::root(), '/'};
    nats::Connection connection;
    std::unique_ptr<nats::Follower> follower;
    std::uint64_t pushedBefore = 0;
};

struct Bridged {
    double published = 1e9;
    double followed = 1e9;

    void TakeFaster(const Bridged& other) {
        published = std::min(published, other.published);
        followed = std::min(followed, other.followed);
    }
};

// Through a publisher, and followers at the same time.
Bridged PublishOurs(const std::string& url, int samples, int numFollowers) {
    core::tessaryn::StreamTypeRepository types(Poco::Logger::root(), '/');
    core::tessaryn::StreamRepository streams(Poco::Logger::root(), '/');
    core::tessaryn::StreamType& type =
        types.Add("W")->PushCopy(TypeOfValues(), utils::Version(1, 0, 0));
    Stream& stream = *streams.AddStream("ours/tank", &type, 1024);
    nats::Connection connection(url);
    nats::PublisherOptions options;
    options.capacity = static_cast<std::size_t>(samples);
    options.maxInFlight = maxInFlight;
    nats::Publisher publisher(connection, streams, {"ours/>"}, options);
    ValueSource source;
    PushValues<Stream, Sample>(stream, source);
    publisher.Flush(std::chrono::seconds(60));
    std::vector<std::unique_ptr<Peer>> peers;
    for (int i = 0; i < numFollowers; ++i) {
        peers.push_back(std::make_unique<Peer>(url));
    }
    // Nothing tells when the server has their consumers.
    while (std::any_of(peers.begin(), peers.end(),
                       [](const auto& peer) { return peer->GetPushed() == 0; })) {
        PushValues<Stream, Sample>(stream, source);
        publisher.Flush(std::chrono::seconds(60));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    for (const auto& peer : peers) {
        peer->pushedBefore = peer->GetPushed();
    }
    Bridged result;
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < samples; ++i) {
        PushValues<Stream, Sample>(stream, source);
    }
    if (!publisher.Flush(std::chrono::minutes(10))) {
        throw std::runtime_error("the server did not acknowledge all");
    }
    result.published = SecondsSince(begin);
    for (const auto& peer : peers) {
        while (peer->GetPushed() < peer->pushedBefore + static_cast<std::uint64_t>(samples)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    result.followed = SecondsSince(begin);
    return result;
}

int Run(int samples) {
    double bare = 1e9;
    Bridged alone;
    Bridged one;
    Bridged two;
    for (int i = 0; i < repetitions; ++i) {
        bare = std::min(bare, PublishBare(test::NatsServer().GetUrl(), samples));
        alone.TakeFaster(PublishOurs(test::NatsServer().GetUrl(), samples, 0));
        one.TakeFaster(PublishOurs(test::NatsServer().GetUrl(), samples, 1));
        two.TakeFaster(PublishOurs(test::NatsServer().GetUrl(), samples, 2));
    }
    std::printf("| %d samples of 60 bytes | a second | of the bare client |\n| --- | --- | --- |\n",
                samples);
    const auto print = [&](const char* what, double seconds) {
        std::printf("| %s | %.0f | %.2f |\n", what, samples / seconds, bare / seconds);
    };
    print("bare client, acknowledged", bare);
    print("publisher, acknowledged (goal: at least 0.7)", alone.published);
    print("publisher while one follows", one.published);
    print("... until that one has pushed all", one.followed);
    print("publisher while two follow", two.published);
    print("... until both have pushed all", two.followed);
    return 0;
}

}  // namespace
}  // namespace velmora::benchmarks

int main(int argc, char** argv) {
    try {
        return velmora::benchmarks::Run(argc > 1 ? std::stoi(argv[1]) : 200000);
    } catch (const std::exception& error) {
        std::cerr << "nats_benchmark: " << error.what() << '\n';
        return 2;
    }
}
