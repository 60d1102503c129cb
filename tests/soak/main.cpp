// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// usage: soak [SECONDS [STALL_SECONDS]]
//
// Runs threads of all kinds on one host. Fails at the first torn, lost or unreported sample, if a
// thread makes no progress for STALL_SECONDS, and if memory grows from the end of the first quarter
// to the end of the run by more than an eighth plus the tolerance.

#include "soak/plant.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <fstream>
#include <iostream>
#include <thread>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

struct Kind {
    const char* name;
    void (soak::Plant::*operation)(soak::Random&);
    int threads;
};

constexpr Kind kinds[] = {{"pushes", &soak::Plant::Push, 2},
                          {"pushes from a peer", &soak::Plant::PushFromPeer, 1},
                          {"pops", &soak::Plant::Pop, 1},
                          {"changes", &soak::Plant::Change, 1},
                          {"queries by time", &soak::Plant::Read, 2},
                          {"visits of subscribers", &soak::Plant::Visit, 2},
                          {"groups, streams, types", &soak::Plant::ChangeGroups, 1},
                          {"uses of guests", &soak::Plant::UseGuest, 1},
                          {"repositories written", &soak::Plant::Write, 1},
                          {"pushes to a crowd", &soak::Plant::UseCrowd, 1},
                          {"deliveries replaced", &soak::Plant::Deliver, 1}};

struct Worker {
    Worker(const Kind& kind, unsigned seed) : kind(&kind), random(seed) {}

    const Kind* kind;
    soak::Random random;
    std::atomic<long long> done = 0;
    std::atomic<bool> ended = false;
    long long seen = 0;
    Clock::time_point progress = Clock::now();
    std::thread thread;
};

// In MiB. The thread sanitizer's own memory grows for minutes.
#ifdef __SANITIZE_THREAD__
constexpr double tolerance = 128;
#else
constexpr double tolerance = 16;
#endif

double MebibytesInUse() {
    std::ifstream status("/proc/self/statm");
    double size = 0;
    double resident = 0;
    status >> size >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1 << 20);
}

class Soak {
  public:
    Soak(int duration, int stall) : duration(duration), stall(stall) {
        for (const Kind& kind : kinds) {
            for (int i = 0; i < kind.threads; ++i) {
                workers.emplace_back(kind, static_cast<unsigned>(workers.size() + 1));
            }
        }
    }

    int Run() {
        for (Worker& worker : workers) {
            worker.thread = std::thread([this, &worker] { Work(worker); });
        }
        const Clock::time_point begin = Clock::now();
        double warmedUp = 0;
        while (Clock::now() - begin < duration && referee.Fault() == nullptr) {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            ExitIfStalled();
            if (warmedUp == 0 && Clock::now() - begin > duration / 4) {
                warmedUp = MebibytesInUse();
            }
        }
        const double end = MebibytesInUse();
        stopping = true;
        while (!std::all_of(workers.begin(), workers.end(),
                            [](auto& worker) -> bool { return worker.ended; })) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ExitIfStalled();
        }
        for (Worker& worker : workers) {
            worker.thread.join();
        }
        plant.ExpectBalance();
        referee.Expect(end - warmedUp < warmedUp / 8 + tolerance, "memory has grown");
        Print();
        std::printf("memory %.1f MiB after a quarter, %.1f MiB at the end\n", warmedUp, end);
        return Verdict();
    }

  private:
    void Work(Worker& worker) {
        try {
            while (!stopping && referee.Fault() == nullptr) {
                (plant.*worker.kind->operation)(worker.random);
                ++worker.done;
            }
        } catch (const std::exception& exception) {
            std::cerr << worker.kind->name << ": " << exception.what() << std::endl;
            referee.Expect(false, "an operation threw");
        }
        worker.ended = true;
    }

    // A thread that waits forever cannot be ended in another way.
    void ExitIfStalled() {
        const Clock::time_point now = Clock::now();
        for (Worker& worker : workers) {
            const long long done = worker.done;
            if (done != worker.seen || worker.ended) {
                worker.progress = now;
            }
            worker.seen = done;
            if (now - worker.progress > stall) {
                Print();
                std::cout << "soak: FAILED: no progress in " << worker.kind->name << std::endl;
                std::_Exit(EXIT_FAILURE);
            }
        }
    }

    void Print() {
        for (const Kind& kind : kinds) {
            long long done = 0;
            for (const Worker& worker : workers) {
                done += worker.kind == &kind ? worker.done.load() : 0;
            }
            std::printf("%-24s %10lld by %d\n", kind.name, done, kind.threads);
        }
        std::fflush(stdout);
    }

    int Verdict() const {
        const char* const fault = referee.Fault();
        std::cout << "soak: " << (fault == nullptr ? "passed" : "FAILED: ")
                  << (fault == nullptr ? "" : fault) << std::endl;
        return fault == nullptr ? EXIT_SUCCESS : EXIT_FAILURE;
    }

    std::chrono::seconds duration;
    std::chrono::seconds stall;
    soak::Referee referee;
    soak::Plant plant{referee};
    std::deque<Worker> workers;
    std::atomic<bool> stopping = false;
};

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 10;
    const int stall = argc > 2 ? std::atoi(argv[2]) : 20;
    if (seconds < 1 || stall < 1) {
        std::cerr << "usage: soak [SECONDS [STALL_SECONDS]]\n";
        return 2;
    }
    return Soak(seconds, stall).Run();
}
