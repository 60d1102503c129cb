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
#include <string>
#include <thread>
#include <vector>

namespace velmora::benchmarks {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int watchers = 20;
constexpr int repetitions = 3;

// A host with one stream of workload W, or with many.
class Host {
  public:
    Host(int count, bool countsPushes)
        : type(types.Add("W")->PushCopy(TypeOfValues(), utils::Version(1, 0, 0))) {
        for (int i = 0; i < count; ++i) {
            streams.AddStream("plant/line" + std::to_string(i / 100) + "/tank" + std::to_string(i),
                              &type, 1024);
        }
        inspector::InspectorOptions options;
        options.port = 0;
        options.countsPushes = countsPushes;
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
    Watchers(const Host& host, int count) {
        for (int i = 0; i < count; ++i) {
            sockets.emplace_back(Poco::Net::SocketAddress("127.0.0.1", host.Port()));
            const std::string request =
                "GET /api/events?path=plant/line0/tank0&rule=temperature%3E25.5 HTTP/1.1\r\n"
                "Host: localhost\r\n\r\n";
            sockets.back().sendBytes(request.data(), static_cast<int>(request.size()));
            Read(sockets.back());
        }
        thread = std::thread([this] { Run(); });
    }
    Watchers(const Watchers&) = delete;
    Watchers& operator=(const Watchers&) = delete;
    ~Watchers() {
        isOver = true;
        thread.join();
    }
    std::size_t GetBytes() const { return bytes; }

  private:
    void Run() {
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
        std::vector<char> buffer(65536);
        bytes += static_cast<std::size_t>(socket.receiveBytes(buffer.data(), 65536));
    }

    std::vector<Poco::Net::StreamSocket> sockets;
    std::atomic<std::size_t> bytes = 0;
    std::atomic<bool> isOver = false;
    std::thread thread;
};

// The time that one push in a thousand exceeds, of pushes so far apart.
double SlowestOfAThousand(Stream& stream, std::chrono::microseconds period, int pushes) {
    ValueSource source;
    std::vector<Clock::duration> times;
    times.reserve(static_cast<std::size_t>(pushes));
    Clock::time_point next = Clock::now();
    for (int i = 0; i < pushes; ++i) {
        next += period;
        while (Clock::now() < next) {
        }
        const Clock::time_point begin = Clock::now();
        PushValues<Stream, Sample>(stream, source);
        times.push_back(Clock::now() - begin);
    }
    const auto slow = times.begin() + pushes * 999 / 1000;
    std::nth_element(times.begin(), slow, times.end());
    return std::chrono::duration<double, std::nano>(*slow).count();
}

// Nanoseconds a push, one after the other.
double MeanOf(Stream& stream) {
    ValueSource source;
    constexpr int count = 200'000;
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < count; ++i) {
        PushValues<Stream, Sample>(stream, source);
    }
    return std::chrono::duration<double, std::nano>(Clock::now() - begin).count() / count;
}

void PrintRow(const char* what, double ours, double floor) {
    std::printf("| %s | %.0f | %.0f | %.2f |\n", what, ours, floor, ours / floor);
}

void ComparePushes(std::chrono::microseconds period, int pushes, const char* what) {
    const Host host(1, true);
    double alone = 1e12;
    double watched = 1e12;
    std::size_t bytes = 0;
    for (int i = 0; i < repetitions; ++i) {
        alone = std::min(alone, SlowestOfAThousand(host.First(), period, pushes));
        const Watchers clients(host, watchers);
        watched = std::min(watched, SlowestOfAThousand(host.First(), period, pushes));
        bytes += clients.GetBytes();
    }
    PrintRow(what, watched, alone);
    std::printf("| bytes that the clients read | %zu | | |\n", bytes);
    std::fflush(stdout);
}

void Run() {
    std::cout << "| ns | ours | floor | ratio |\n|---|---|---|---|\n";
    ComparePushes(std::chrono::microseconds(20), 50'000,
                  "slowest push of 1,000, 50,000 a second, 20 watchers, none");
    ComparePushes(std::chrono::microseconds(1000), 3000,
                  "slowest push of 1,000, 1,000 a second, 20 watchers, none");
    double counted = 1e12;
    double uncounted = 1e12;
    const Host counting(1, true);
    const Host plain(1, false);
    for (int i = 0; i < repetitions; ++i) {
        counted = std::min(counted, MeanOf(counting.First()));
        uncounted = std::min(uncounted, MeanOf(plain.First()));
    }
    PrintRow("push that is counted, that is not", counted, uncounted);
    std::cout << "\n| of 10,000 streams | ms, first | ms, then |\n|---|---|---|\n";
    const Host large(10'000, true);
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
