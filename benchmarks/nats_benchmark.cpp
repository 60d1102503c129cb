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

struct Bridged {
    double published = 0;
    double followed = 0;
};

// Through a publisher, and a follower at the same time if there is to be one.
Bridged PublishOurs(const std::string& url, int samples, bool isFollowed) {
    core::tessaryn::StreamTypeRepository types(Poco::Logger::root(), '/');
    core::tessaryn::StreamTypeRepository otherTypes(Poco::Logger::root(), '/');
    core::tessaryn::StreamRepository streams(Poco::Logger::root(), '/');
    core::tessaryn::StreamRepository otherStreams(Poco::Logger::root(), '/');
    core::tessaryn::StreamType& type =
        types.Add("W")->PushCopy(TypeOfValues(), utils::Version(1, 0, 0));
    Stream& stream = *streams.AddStream("ours/tank", &type, 1024);
    nats::Connection connection(url);
    nats::Connection other(url);
    nats::PublisherOptions options;
    options.capacity = static_cast<std::size_t>(samples);
    options.maxInFlight = maxInFlight;
    nats::Publisher publisher(connection, streams, {"ours/>"}, options);
    ValueSource source;
    PushValues<Stream, Sample>(stream, source);
    publisher.Flush(std::chrono::seconds(60));
    std::unique_ptr<nats::Follower> follower;
    if (isFollowed) {
        nats::FollowerOptions follow;
        follow.takesOwn = true;
        follow.start = nats::Start::now;
        follower = std::make_unique<nats::Follower>(other, otherTypes, otherStreams,
                                                    std::vector<std::string>{"ours.>"}, follow);
        while (follower->GetStatistics().pushed == 0) {
            PushValues<Stream, Sample>(stream, source);
            publisher.Flush(std::chrono::seconds(60));
        }
    }
    const std::uint64_t before = isFollowed ? follower->GetStatistics().pushed : 0;
    Bridged result;
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < samples; ++i) {
        PushValues<Stream, Sample>(stream, source);
    }
    if (!publisher.Flush(std::chrono::minutes(10))) {
        throw std::runtime_error("the server did not acknowledge all");
    }
    result.published = SecondsSince(begin);
    while (isFollowed &&
           follower->GetStatistics().pushed < before + static_cast<std::uint64_t>(samples)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    result.followed = SecondsSince(begin);
    return result;
}

int Run(int samples) {
    double bare = 1e9;
    Bridged ours{1e9, 1e9};
    Bridged followed{1e9, 1e9};
    for (int i = 0; i < repetitions; ++i) {
        bare = std::min(bare, PublishBare(test::NatsServer().GetUrl(), samples));
        const Bridged alone = PublishOurs(test::NatsServer().GetUrl(), samples, false);
        ours.published = std::min(ours.published, alone.published);
        const Bridged both = PublishOurs(test::NatsServer().GetUrl(), samples, true);
        followed.published = std::min(followed.published, both.published);
        followed.followed = std::min(followed.followed, both.followed);
    }
    std::printf(
        "| samples a second, %d of 60 bytes | bare client | publisher | ratio | goal |\n"
        "| --- | --- | --- | --- | --- |\n"
        "| published | %.0f | %.0f | %.2f | at least 0.7 |\n"
        "| published and followed at the same time: published, then pushed | %.0f | %.0f | "
        "%.2f | |\n",
        samples, samples / bare, samples / ours.published, bare / ours.published,
        samples / followed.published, samples / followed.followed,
        followed.published / followed.followed);
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
