// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// inspector_benchmark: what an inspector costs those who push, and how long a host of 10,000
// streams takes to be seen. Prints a Markdown table.

#include "inspector/inspector.h"
#include "streams.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/SocketImpl.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/StreamCopier.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace velmora::benchmarks {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int watchers = 20;
// Of the comparison of pushes: each part gives a ratio.
constexpr int parts = 5;
constexpr int phases = 8;
constexpr auto warmUp = std::chrono::milliseconds(100);
constexpr auto phaseTime = std::chrono::milliseconds(250);

// A host with one stream of workload W, or with many.
class Host {
  public:
    explicit Host(int count)
        : type(types.Add("W")->PushCopy(TypeOfValues(), utils::Version(1, 0, 0))) {
        for (int i = 0; i < count; ++i) {
            streams.AddStream("plant/line" + std::to_string(i / 100) + "/tank" + std::to_string(i),
                              &type, 1024);
        }
        inspector::InspectorOptions options;
        options.port = 0;
        served = std::make_unique<inspector::Inspector>(streams, types, options);
        served->Start();
    }

    Stream& First() const { return streams.GetStream("plant/line0/tank0"); }
    std::uint16_t Port() const { return served->GetPort(); }

    // The seconds until an answer has come in full.
    double Ask(const std::string& address) const {
        const Clock::time_point begin = Clock::now();
        Poco::Net::HTTPClientSession session("127.0.0.1", Port());
        Poco::Net::HTTPRequest request("GET", address, "HTTP/1.1");
        session.sendRequest(request);
        Poco::Net::HTTPResponse response;
        std::string text;
        Poco::StreamCopier::copyToString(session.receiveResponse(response), text);
        return std::chrono::duration<double>(Clock::now() - begin).count();
    }

  private:
    core::tessaryn::StreamTypeRepository types{Poco::Logger::root(), '/'};
    StreamType& type;
    core::tessaryn::StreamRepository streams{Poco::Logger::root(), '/'};
    std::unique_ptr<inspector::Inspector> served;
};

// Clients that read all events of a stream, on a thread of their own.
class Watchers {
  public:
    // Returns when all of them watch.
    Watchers(const Host& host, int count) : thread([this, &host, count] { Run(host, count); }) {
        isWatching.wait(false);
    }
    Watchers(const Watchers&) = delete;
    Watchers& operator=(const Watchers&) = delete;
    ~Watchers() {
        isOver = true;
        thread.join();
    }
    std::size_t GetBytes() const { return bytes; }

  private:
    void Run(const Host& host, int count) {
        // They stand for other machines, and so take no core from the pusher when they wake up.
        const sched_param none{};
        ::pthread_setschedparam(::pthread_self(), SCHED_BATCH, &none);
        for (int i = 0; i < count; ++i) {
            sockets.emplace_back(Poco::Net::SocketAddress("127.0.0.1", host.Port()));
            const std::string request =
                "GET /api/events?path=plant/line0/tank0&rule=temperature%3E25.5 HTTP/1.1\r\n"
                "Host: localhost\r\n\r\n";
            sockets.back().sendBytes(request.data(), static_cast<int>(request.size()));
            Read(sockets.back());
        }
        isWatching = true;
        isWatching.notify_one();
        std::vector<pollfd> polled;
        for (const Poco::Net::StreamSocket& socket : sockets) {
            polled.push_back({socket.impl()->sockfd(), POLLIN, 0});
        }
        while (!isOver) {
            ::poll(polled.data(), polled.size(), 10);
            for (std::size_t i = 0; i < polled.size(); ++i) {
                if (polled[i].revents != 0) {
                    Read(sockets[i]);
                }
            }
        }
    }
    void Read(Poco::Net::StreamSocket& socket) {
        bytes += static_cast<std::size_t>(socket.receiveBytes(buffer.data(), 65536));
    }

    std::vector<Poco::Net::StreamSocket> sockets;
    std::vector<char> buffer = std::vector<char>(65536);
    std::atomic<std::size_t> bytes = 0;
    std::atomic<bool> isWatching = false;
    std::atomic<bool> isOver = false;
    std::thread thread;
};

// The times of pushes, and how often the pusher lost its core meanwhile.
struct PushTimes {
    std::vector<float> ns;
    long waits = 0;        ///< voluntarily: for a lock
    long preemptions = 0;  ///< to another thread

    // The time that a share of the pushes exceeds.
    double Exceeded(double share) {
        const auto place =
            ns.end() - static_cast<std::ptrdiff_t>(share * static_cast<double>(ns.size())) - 1;
        std::nth_element(ns.begin(), place, ns.end());
        return *place;
    }
    void Add(const PushTimes& other) {
        ns.insert(ns.end(), other.ns.begin(), other.ns.end());
        waits += other.waits;
        preemptions += other.preemptions;
    }
};

// Pushes so far apart for a while; a pusher of period 0 does not wait.
PushTimes MeasurePushes(Stream& stream, std::chrono::microseconds period,
                        std::chrono::milliseconds duration) {
    ValueSource source;
    PushTimes times;
    times.ns.reserve(1'000'000);
    rusage before{};
    ::getrusage(RUSAGE_THREAD, &before);
    Clock::time_point next = Clock::now();
    const Clock::time_point end = next + duration;
    while (next < end && times.ns.size() < times.ns.capacity()) {
        next += period;
        Clock::time_point begin = Clock::now();
        while (begin < next) {
            begin = Clock::now();
        }
        PushValues<Stream, Sample>(stream, source);
        const Clock::time_point done = Clock::now();
        times.ns.push_back(std::chrono::duration<float, std::nano>(done - begin).count());
        // What came late is not made up for.
        next = std::max(next, begin);
    }
    rusage after{};
    ::getrusage(RUSAGE_THREAD, &after);
    times.waits = after.ru_nvcsw - before.ru_nvcsw;
    times.preemptions = after.ru_nivcsw - before.ru_nivcsw;
    return times;
}

void AwaitSubscriptions(const Stream& stream, std::size_t count) {
    while (stream.CountSubscriptions() != count) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

// In turns, so that what else the machine does meets both; each phase begins with the memory and
// the caches as a client finds them that has watched for a while.
void ComparePushes(std::chrono::microseconds period) {
    const Host host(1);
    Stream& stream = host.First();
    PushTimes alone;
    PushTimes watched;
    std::vector<double> ratios;
    std::size_t bytes = 0;
    for (int part = 0; part < parts; ++part) {
        PushTimes aloneInPart;
        PushTimes watchedInPart;
        for (int i = 0; i < phases; ++i) {
            AwaitSubscriptions(stream, 0);
            MeasurePushes(stream, period, warmUp);
            aloneInPart.Add(MeasurePushes(stream, period, phaseTime));
            const Watchers clients(host, watchers);
            AwaitSubscriptions(stream, 1);
            MeasurePushes(stream, period, warmUp);
            watchedInPart.Add(MeasurePushes(stream, period, phaseTime));
            bytes += clients.GetBytes();
        }
        ratios.push_back(watchedInPart.Exceeded(0.001) / aloneInPart.Exceeded(0.001));
        alone.Add(aloneInPart);
        watched.Add(watchedInPart);
    }
    std::sort(ratios.begin(), ratios.end());
    const std::string rate =
        period.count() == 0 ? "no pause" : std::to_string(1'000'000 / period.count());
    std::printf("| %s | %.0f, %.0f | %.0f, %.0f | %.2f | %.2f-%.2f-%.2f | %ld, %ld | %ld, %ld | ",
                rate.c_str(), alone.Exceeded(0.5), watched.Exceeded(0.5), alone.Exceeded(0.001),
                watched.Exceeded(0.001), watched.Exceeded(0.001) / alone.Exceeded(0.001),
                ratios.front(), ratios[ratios.size() / 2], ratios.back(), alone.waits,
                watched.waits, alone.preemptions, watched.preemptions);
    std::printf("%.1f |\n", static_cast<double>(bytes) * 1e-6);
    std::fflush(stdout);
}

void Run() {
    std::cout << "| pushes a second | median, ns: none, 20 watchers | 99.9th percentile, ns "
                 "| ratio | of parts | waits | preemptions | MB read |\n"
                 "|---|---|---|---|---|---|---|---|\n";
    for (const int period : {1000, 100, 20, 0}) {
        ComparePushes(std::chrono::microseconds(period));
    }
    std::cout << "\n| of 10,000 streams | ms, first | ms, then |\n|---|---|---|\n";
    const Host large(10'000);
    for (const char* address :
         {"/api/about", "/api/tree", "/api/tree?path=plant", "/api/search?q=", "/api/search?q=99",
          "/api/stream?path=plant/line0/tank0", "/metrics"}) {
        const double first = large.Ask(address) * 1000;
        std::printf("| `%s` | %.1f | %.1f |\n", address, first, large.Ask(address) * 1000);
    }
}

}  // namespace
}  // namespace velmora::benchmarks

int main() {
    try {
        velmora::benchmarks::Run();
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
