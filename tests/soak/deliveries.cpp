// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "soak/deliveries.h"

#include "delivery/conditions.h"
#include "tessaryn/stream.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace soak {

using namespace velmora::delivery;
using namespace std::chrono_literals;

namespace {

constexpr std::array<Overflow, 4> policies = {Overflow::dropOldest, Overflow::dropNewest,
                                              Overflow::keepLatest, Overflow::wait};

DeliveryOptions OptionsOf(Random& random) {
    DeliveryOptions options;
    options.capacity = 1 + random() % 40;
    options.overflow = policies[random() % policies.size()];
    options.maxWait = 50us;
    if (random() % 4 == 0) {
        options.conditions = Rising("even == 1") | EveryNth(2);
    }
    options.onError = [](const std::exception_ptr&) {};
    return options;
}

}  // namespace

Deliveries::Deliveries(Referee& referee, const std::vector<std::unique_ptr<Line>>& lines)
    : referee(referee), lines(lines) {
    for (std::size_t i = 0; i < 8; ++i) {
        watched.push_back(std::make_unique<Watched>());
        Watched& each = *watched.back();
        each.line = lines[i].get();
        const auto handler = [&each, &referee](const Change& change) {
            const auto sequence = static_cast<long long>(change.sequence);
            const auto dropped = static_cast<long long>(change.dropped);
            referee.Expect(sequence == each.lastSequence + dropped + 1,
                           "a delivery has lost changes without counting them");
            each.lastSequence = sequence;
        };
        each.delivery = dispatcher.Subscribe(
            *each.line->stream, "pushed()", handler,
            {.capacity = 64, .overflow = policies[i % policies.size()], .maxWait = 50us});
    }
}

void Deliveries::Replace(Random& random) {
    const Line& line = *lines[random() % lines.size()];
    Stream& stream = *line.stream;
    const bool fails = random() % 16 == 0;
    const bool pausing = random() % 8 == 0;
    // The handler's own, to see that nothing touches it after the end.
    auto calls = std::make_unique<long long>(0);
    const auto handler = [&counter = *calls, fails, pausing](const Change&) {
        ++counter;
        if (pausing) {
            std::this_thread::yield();
        }
        if (fails) {
            throw std::runtime_error("a handler that fails");
        }
    };
    Delivery added =
        random() % 2 == 0
            ? dispatcher.Subscribe(stream, "pushed()", handler, OptionsOf(random))
            : dispatcher.SubscribeWithHistory(stream, "number > 0", handler, OptionsOf(random));
    if (random() % 3 == 0) {
        added.Flush();
    }
    if (random() % 4 == 0) {
        added.Stop();
        const auto counts = added.GetStatistics();
        referee.Expect(counts.delivered == static_cast<std::uint64_t>(*calls),
                       "a handler was called more or less often than counted");
        ExpectSum(added);
        return;
    }
    // Lives on in a slot, with its counter.
    Slot& slot = slots[random() % slots.size()];
    const std::lock_guard lock(slot.mutex);
    slot.delivery.Stop();
    ExpectSum(slot.delivery);
    slot.delivery = std::move(added);
    slot.calls = std::move(calls);
}

void Deliveries::ExpectSum(const Delivery& delivery) {
    const DeliveryStatistics counts = delivery.GetStatistics();
    referee.Expect(counts.accepted == counts.delivered + counts.dropped + counts.waiting,
                   "a delivery's counts do not add up");
    referee.Expect(counts.waiting == 0, "changes wait after the end of a delivery");
}

void Deliveries::ExpectBalance() {
    referee.Expect(dispatcher.Drain(60s), "deliveries do not come to an end");
    for (const auto& each : watched) {
        const DeliveryStatistics counts = each->delivery.GetStatistics();
        referee.Expect(counts.accepted == static_cast<std::uint64_t>(each->line->pushes),
                       "a delivery has not seen every push");
        ExpectSum(each->delivery);
    }
    for (Slot& slot : slots) {
        slot.delivery.Stop();
        ExpectSum(slot.delivery);
    }
}

}  // namespace soak
