// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/dispatcher.h"
#include "soak/plant.h"

#include <array>
#include <memory>
#include <mutex>
#include <vector>

namespace soak {

/// Deliveries of each policy: some from beginning to end, which must see every push or count it,
/// and others that come and go.
class Deliveries {
  public:
    Deliveries(Referee& referee, const std::vector<std::unique_ptr<Line>>& lines);

    /// Replaces one delivery by a new one. Any number of threads may call it.
    void Replace(Random& random);

    /// Compares the counts. To be called after all threads have ended.
    void ExpectBalance();

  private:
    struct Watched {
        const Line* line;
        long long lastSequence = 0;
        velmora::delivery::Delivery delivery;
    };
    struct Slot {
        std::mutex mutex;
        /// What the handler counts in; goes after the delivery.
        std::unique_ptr<long long> calls;
        velmora::delivery::Delivery delivery;
    };

    void ExpectSum(const velmora::delivery::Delivery& delivery);

    Referee& referee;
    const std::vector<std::unique_ptr<Line>>& lines;
    velmora::delivery::Dispatcher dispatcher{2, "soak"};
    std::vector<std::unique_ptr<Watched>> watched;
    std::array<Slot, 32> slots;
};

}  // namespace soak
