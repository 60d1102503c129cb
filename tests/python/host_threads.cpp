// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The module host_threads: C++ threads that use a stream of Python, as a host does.

#include "errors.h"
#include "stream_store.h"
#include "tessaryn/rules.h"
#include "tessaryn/sample.h"
#include "tessaryn/scoped_subscription.h"
#include "tessaryn/stream.h"

#include <atomic>
#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::python {

using core::tessaryn::Sample;
using core::tessaryn::ScopedSubscription;
using core::tessaryn::Stream;
using core::tessaryn::SubscriptionArgs;
namespace rules = core::tessaryn::rules;

namespace {

/// Push, query and subscribe from their construction until `Stop`, and push to the streams guest0
/// to guest2 while there are any. The stream's entries are a number and a text as long as the
/// number without its sign, modulo 40: all that is seen is checked for that. These threads push
/// negative numbers.
class HostThreads {
  public:
    explicit HostThreads(StreamHandle used)
        : handle(std::move(used)), stream(handle.GetLink()->Enter()) {
        all = ScopedSubscription(stream, rules::Expression("level >= 0"), [this](auto& args) {
            Check(*args.sample);
            ++othersSeen;
        });
        for (int i = 0; i < 2; ++i) {
            Start([this] { Push(); });
            Start([this] { Query(); });
            Start([this] { SubscribeAndEnd(); });
        }
        Start([this] { VisitGuests(); });
    }
    HostThreads(const HostThreads&) = delete;
    HostThreads& operator=(const HostThreads&) = delete;
    ~HostThreads() { Stop(); }

    void Stop() {
        if (threads.empty()) {
            return;
        }
        const GilRelease release;
        isStopped = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        threads.clear();
        all.Reset();
        handle.GetLink()->Leave();
    }

    long CountPushed() const { return pushed; }
    long CountQueried() const { return queried; }
    long CountSeen() const { return seen; }
    long CountOthersSeen() const { return othersSeen; }
    long CountVisits() const { return visits; }
    long CountTorn() const { return torn; }

  private:
    template <class Work>
    void Start(Work work) {
        threads.emplace_back([this, work] {
            while (!isStopped) {
                work();
                std::this_thread::yield();
            }
        });
    }

    void Push() {
        const long number = ++pushed;
        stream.PushNew([number](Sample& sample) {
            sample.Set(0, 0, static_cast<double>(-number));
            sample.Set(1, std::string(static_cast<std::size_t>(number % 40), 'x'));
        });
    }

    void Query() {
        stream.GetSince(Poco::Timestamp(0), [this](const std::vector<Sample*>& samples) {
            for (const Sample* const sample : samples) {
                Check(*sample);
            }
            queried += static_cast<long>(samples.size());
        });
    }

    // Calls of Python threads rarely overlap, since these take turns before and after; those of
    // these threads do.
    void VisitGuests() {
        for (const char* const path : {"guest0", "guest1", "guest2"}) {
            const std::shared_ptr<StreamLink> link = handle.GetStore()->Find(path);
            if (link == nullptr) {
                continue;
            }
            try {
                StreamHandle(handle.GetStore(), link).UseUnlocked([this](Stream& guest) {
                    guest.PushNew([](Sample& sample) { sample.Set(0, 0, 1.0); });
                    ++visits;
                });
            } catch (const DeadReference&) {
                // The stream was removed after it was found.
            }
        }
    }

    void SubscribeAndEnd() {
        const long before = seen;
        const ScopedSubscription some(stream, rules::Expression("level < -10"), [this](auto& args) {
            Check(*args.sample);
            ++seen;
        });
        while (!isStopped && seen == before) {
            std::this_thread::yield();
        }
    }

    void Check(const Sample& sample) {
        const auto expected = static_cast<long>(std::abs(sample.GetDouble(0, 0))) % 40;
        if (sample.GetString(1) != std::string(static_cast<std::size_t>(expected), 'x')) {
            ++torn;
        }
    }

    StreamHandle handle;
    Stream& stream;
    std::atomic<bool> isStopped = false;
    std::atomic<long> pushed = 0;
    std::atomic<long> queried = 0;
    std::atomic<long> seen = 0;
    std::atomic<long> othersSeen = 0;
    std::atomic<long> visits = 0;
    std::atomic<long> torn = 0;
    ScopedSubscription all;
    std::vector<std::thread> threads;
};

}  // namespace

PYBIND11_MODULE(host_threads, module) {
    py::class_<HostThreads> threads(module, "HostThreads");
    threads.def(py::init<const StreamHandle&>());
    threads.def("stop", &HostThreads::Stop);
    threads.def_property_readonly("pushed", &HostThreads::CountPushed);
    threads.def_property_readonly("queried", &HostThreads::CountQueried);
    threads.def_property_readonly("seen", &HostThreads::CountSeen);
    threads.def_property_readonly("others_seen", &HostThreads::CountOthersSeen);
    threads.def_property_readonly("visits", &HostThreads::CountVisits);
    threads.def_property_readonly("torn", &HostThreads::CountTorn);
}

}  // namespace velmora::python
