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

/// A host that never rests: hundreds of streams and rules in a repository, and what its threads do
/// to them. Every sample tells the same number in several ways, so that a torn one shows.
namespace soak {

using namespace velmora::core;
using tessaryn::Sample;
using tessaryn::Stream;
using tessaryn::SubscriptionArgs;
using Random = std::minstd_rand;

/// Keeps the first fault.
class Referee {
  public:
    void Expect(bool holds, const char* fault) {
        const char* none = nullptr;
        if (!holds) {
            first.compare_exchange_strong(none, fault);
        }
    }
    /// Null while all is well.
    const char* Fault() const { return first; }

  private:
    std::atomic<const char*> first = nullptr;
};

/// A stream that stays, and the account of it: all of it is guarded by the stream's lock.
struct Line {
    void OnChange(SubscriptionArgs& args);
    void OnEven(SubscriptionArgs&) { ++toldEven; }
    void OnNever(SubscriptionArgs&) { ++toldNever; }

    Referee* referee = nullptr;
    Stream* stream = nullptr;
    long long pushes = 0;
    long long pops = 0;
    long long changes = 0;
    long long told[3] = {};
    long long even = 0;
    long long toldEven = 0;
    long long toldNever = 0;
};

class Plant {
  public:
    explicit Plant(Referee& judge);

    // One operation of a thread each; any number of threads may be at it.
    void Push(Random& random);
    void PushFromPeer(Random& random);
    void Pop(Random& random);
    void Change(Random& random);
    void Read(Random& random);
    void Visit(Random& random);
    void Garden(Random& random);
    void UseGuest(Random& random);
    void Write(Random& random);

    /// When all threads have ended: nothing was lost.
    void ExpectBalance();

  private:
    Line& AnyLine(Random& random) { return *lines[random() % lines.size()]; }
    void GardenTypes(Random& random);
    void AddGuest(Random& random);

    Referee& referee;
    tessaryn::StreamTypeRepository types;
    tessaryn::StreamRepository streams;
    tessaryn::StreamType* type;
    std::vector<std::unique_ptr<Line>> lines;
};

}  // namespace soak
