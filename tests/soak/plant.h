// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"
#include "tessaryn/subscription_args.h"

#include <atomic>
#include <memory>
#include <random>
#include <string>
#include <vector>

/// A host with hundreds of streams and rules in a repository, and the operations that its threads
/// run on them. Every sample holds one number in several entries, so that a torn sample is seen.
namespace soak {

using namespace velmora::core;
using tessaryn::Sample;
using tessaryn::Stream;
using tessaryn::SubscriptionArgs;
using Random = std::minstd_rand;

/// Collects the first fault. Any thread may report one.
class Referee {
  public:
    void Expect(bool holds, const char* fault) {
        const char* none = nullptr;
        if (!holds) {
            first.compare_exchange_strong(none, fault);
        }
    }
    /// Null if there is none.
    const char* Fault() const { return first; }

  private:
    std::atomic<const char*> first = nullptr;
};

/// A stream that is never removed, and the expected counts. Guarded by the stream's lock.
struct Line {
    void OnChange(SubscriptionArgs& args);
    void OnEven(SubscriptionArgs&) { ++notifiedEven; }
    void OnNever(SubscriptionArgs&) { ++notifiedNever; }

    Referee* referee = nullptr;
    Stream* stream = nullptr;
    long long pushes = 0;
    long long pops = 0;
    long long changes = 0;
    long long clears = 0;
    long long notified[3] = {};
    long long even = 0;
    long long notifiedEven = 0;
    long long notifiedNever = 0;
};

class Deliveries;

class Plant {
  public:
    explicit Plant(Referee& referee);
    Plant(const Plant&) = delete;
    Plant& operator=(const Plant&) = delete;
    ~Plant();

    // One operation of a thread each. Any number of threads may call them concurrently.
    void Push(Random& random);
    void PushFromPeer(Random& random);
    void Pop(Random& random);
    void Change(Random& random);
    void Read(Random& random);
    void Visit(Random& random);
    void ChangeGroups(Random& random);
    void UseGuest(Random& random);
    void Write(Random& random);
    void Deliver(Random& random);
    void UseCrowd(Random& random);

    /// Compares the counts. To be called after all threads have ended.
    void ExpectBalance();

  private:
    Line& AnyLine(Random& random) { return *lines[random() % lines.size()]; }
    void ChangeTypes(Random& random);
    void AddGuest(Random& random);
    void OnCrowd(SubscriptionArgs& /*args*/) { ++crowdCalls; }

    Referee& referee;
    tessaryn::StreamTypeRepository types;
    tessaryn::StreamRepository streams;
    tessaryn::StreamType* type;
    std::vector<std::unique_ptr<Line>> lines;
    // A stream with a rule for each of 10,000 numbers, and the calls of its delegates, which its
    // lock guards.
    Stream* crowd;
    long long crowdCalls = 0;
    std::unique_ptr<Deliveries> deliveries;
};

}  // namespace soak
