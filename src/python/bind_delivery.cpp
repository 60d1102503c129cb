// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "bind_delivery.h"

#include "call_gate.h"
#include "condition_record.h"
#include "delivery/conditions.h"
#include "entry_table.h"
#include "entry_value.h"
#include "rule_record.h"
#include "subscription.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_rules.h"
#include "time_value.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <pybind11/stl.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::python {

using delivery::Dispatcher;
using delivery::Overflow;
using std::chrono::microseconds;

namespace {

constexpr std::size_t workers = 2;
// How long a thread waits before it checks for an interrupt of the user.
constexpr microseconds slice = std::chrono::milliseconds(100);

// The dispatcher that subscriptions share. Used with the GIL only, and not destroyed when the
// process ends: the workers may be gone then.
struct Hub {
    std::shared_ptr<Dispatcher> dispatcher;
    bool isClosed = false;
};

Hub& GetHub() {
    static Hub* const hub = new Hub;
    return *hub;
}

std::shared_ptr<Dispatcher> GetDispatcher() {
    Hub& hub = GetHub();
    if (hub.isClosed) {
        throw std::runtime_error("The interpreter is ending: nothing more is delivered.");
    }
    if (hub.dispatcher == nullptr) {
        hub.dispatcher = std::make_shared<Dispatcher>(workers, "python");
    }
    return hub.dispatcher;
}

void CloseHub() {
    GetCallGate().Close();
    GetHub().isClosed = true;
    std::shared_ptr<Dispatcher> last = std::exchange(GetHub().dispatcher, nullptr);
    Unlocked([&] { last.reset(); });
}

void AbandonHub() {
    // The objects of the parent's threads cannot be destroyed here.
    static_cast<void>(new std::shared_ptr<Dispatcher>(std::move(GetHub().dispatcher)));
    GetHub().dispatcher = nullptr;
    GetCallGate().Reset();
}

Overflow PolicyOf(const std::string& name) {
    const std::pair<const char*, Overflow> policies[] = {{"drop_oldest", Overflow::dropOldest},
                                                         {"drop_newest", Overflow::dropNewest},
                                                         {"keep_latest", Overflow::keepLatest},
                                                         {"wait", Overflow::wait}};
    for (const auto& [each, overflow] : policies) {
        if (each == name) {
            return overflow;
        }
    }
    throw std::invalid_argument("policy '" + name +
                                "' is not drop_oldest, drop_newest, keep_latest or wait");
}

delivery::Rule RuleOf(const RuleRecord* record) {
    return record == nullptr ? delivery::Rule(std::make_unique<core::tessaryn::AlwaysRule>())
                             : delivery::Rule(record->GetText());
}

// Python's handle of a subscription. Destroyed with the GIL held, which the names of the entries
// need.
struct DeliveryHandle {
    std::shared_ptr<const EntryTable> entries;
    std::shared_ptr<Subscription> subscription;

    Subscription& operator*() const { return *subscription; }
    Subscription* operator->() const { return subscription.get(); }
};

DeliveryHandle Subscribe(const StreamHandle& stream, const RuleRecord* rule, std::size_t capacity,
                         const std::string& policy, const py::object& maxWait,
                         const ConditionRecord* conditions, bool withHistory) {
    Subscription::Request request{RuleOf(rule), {}, withHistory};
    request.options.capacity = capacity;
    request.options.overflow = PolicyOf(policy);
    request.options.maxWait = microseconds(ToSpan(maxWait));
    auto entries = std::make_shared<const EntryTable>(*PinnedStream(stream)->GetStreamType());
    CheckApplies(request.rule, entries->GetType());
    if (conditions != nullptr) {
        conditions->Check(*entries);
        request.options.conditions = conditions->GetChain();
    }
    std::shared_ptr<Dispatcher> dispatcher = GetDispatcher();
    Subscription* const made = Unlocked([&] {
        return std::make_unique<Subscription>(stream, std::move(dispatcher), std::move(request))
            .release();
    });
    return {std::move(entries), {made, UnlockedDelete()}};
}

const char* KindOf(core::tessaryn::StreamChangeType change) {
    constexpr const char* kinds[] = {"pushed", "popped", "changed"};
    return kinds[change];
}

// The fields of a tessaryn.Change.
py::tuple Describe(const Subscription::Change& change, const EntryTable& entries) {
    return py::make_tuple(KindOf(change.changeType),
                          FromMicroseconds(change.sample.GetTimeStamp().epochMicroseconds()),
                          entries.GetValues(change.sample), change.sequence, change.dropped);
}

std::optional<std::chrono::steady_clock::time_point> DeadlineOf(std::optional<std::int64_t> span) {
    if (!span) {
        return std::nullopt;
    }
    // A year stands for infinity, and does not overflow.
    const auto maxSpan = microseconds(std::chrono::hours(24 * 365));
    return std::chrono::steady_clock::now() + std::min(microseconds(*span), maxSpan);
}

// Waits in slices, so that the user can interrupt.
py::object Take(const DeliveryHandle& self, std::optional<std::int64_t> timeout) {
    const auto deadline = DeadlineOf(timeout);
    for (;;) {
        microseconds left = slice;
        if (deadline) {
            left = std::min(left, std::chrono::ceil<microseconds>(
                                      *deadline - std::chrono::steady_clock::now()));
        }
        const auto change =
            Unlocked([&] { return self->Take(std::max(left, microseconds::zero())); });
        if (change) {
            return Describe(*change, *self.entries);
        }
        if (Unlocked([&] { return self->HasEnded(); }) || left <= microseconds::zero()) {
            return py::none();
        }
        if (PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
    }
}

bool Drain(const DeliveryHandle& self, std::optional<std::int64_t> timeout) {
    const auto deadline = DeadlineOf(timeout);
    for (;;) {
        microseconds left = slice;
        if (deadline) {
            left = std::min(left, std::chrono::ceil<microseconds>(
                                      *deadline - std::chrono::steady_clock::now()));
        }
        if (Unlocked([&] { return self->Drain(std::max(left, microseconds::zero())); })) {
            return true;
        }
        if (left <= microseconds::zero()) {
            return false;
        }
        if (PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
    }
}

py::tuple Statistics(const DeliveryHandle& self) {
    const auto counts = Unlocked([&] { return self->GetStatistics(); });
    return py::make_tuple(counts.accepted, counts.delivered, counts.dropped, counts.waiting,
                          counts.late);
}

std::string Written(const char* function, const py::tuple& arguments) {
    std::string text = function;
    text += "(";
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        text += (i == 0 ? "" : ", ") + std::string(py::repr(arguments[i]));
    }
    return text + ")";
}

ConditionRecord Hysteresis(const py::str& entry, double on, double off) {
    const std::string name = ToBytes(entry);
    return {delivery::Hysteresis(name, on, off),
            Written("hysteresis", py::make_tuple(entry, on, off)),
            {{name, true}},
            {}};
}

ConditionRecord Deadband(const py::str& entry, double limit,
                         const std::optional<std::pair<double, double>>& range) {
    const std::string name = ToBytes(entry);
    if (!range) {
        return {delivery::Deadband(name, limit),
                Written("deadband", py::make_tuple(entry, limit)),
                {{name, true}},
                {}};
    }
    return {delivery::Deadband(name, delivery::PercentOfRange{limit, range->first, range->second}),
            Written("deadband", py::make_tuple(entry, limit, *range)),
            {{name, true}},
            {}};
}

template <class Condition>
ConditionRecord Edge(const char* function, const RuleRecord& record) {
    const delivery::Rule rule(record.GetText());
    return {
        Condition(rule), Written(function, py::make_tuple(ToText(record.GetText()))), {}, {rule}};
}

ConditionRecord HeldFor(const RuleRecord& record, const py::object& span) {
    const std::int64_t duration = ToSpan(span);
    if (duration < 0) {
        throw std::invalid_argument("A rule cannot hold for a negative time.");
    }
    const delivery::Rule rule(record.GetText());
    return {delivery::HeldFor(rule, microseconds(duration)),
            Written("held_for", py::make_tuple(ToText(record.GetText()), span)),
            {},
            {rule}};
}

ConditionRecord EveryNth(std::size_t count) {
    return {delivery::EveryNth(count), Written("every_nth", py::make_tuple(count)), {}, {}};
}

void BindConditions(py::module_& module) {
    py::class_<ConditionRecord> condition(module, "Condition",
                                          "Decides which changes are delivered, depending on "
                                          "earlier ones. first | second asks both, one after\n"
                                          "the other. Each subscription has a state of its own.");
    condition.def("__or__", &ConditionRecord::Then, py::is_operator());
    condition.def("__repr__", &ConditionRecord::GetText);
    module.def("on_change", [](const py::str& entry) {
        const std::string name = ToBytes(entry);
        return ConditionRecord(delivery::OnChange(name),
                               Written("on_change", py::make_tuple(entry)), {{name, false}}, {});
    });
    module.def("deadband", &Deadband);
    module.def("hysteresis", &Hysteresis);
    module.def("rising",
               [](const RuleRecord& rule) { return Edge<delivery::Rising>("rising", rule); });
    module.def("falling",
               [](const RuleRecord& rule) { return Edge<delivery::Falling>("falling", rule); });
    module.def("held_for", &HeldFor);
    module.def("min_interval", [](const py::object& span) {
        return ConditionRecord(delivery::MinInterval(microseconds(ToSpan(span))),
                               Written("min_interval", py::make_tuple(span)), {}, {});
    });
    module.def("every_nth", &EveryNth);
}

}  // namespace

void BindDelivery(py::module_& module) {
    BindConditions(module);
    py::class_<DeliveryHandle> subscription(module, "Delivery");
    subscription.def(py::init(&Subscribe));
    subscription.def("take", &Take);
    subscription.def("drain", &Drain);
    subscription.def("flush", [](const DeliveryHandle& self) { Unlocked([&] { self->Flush(); }); });
    subscription.def("close", [](const DeliveryHandle& self) { Unlocked([&] { self->Close(); }); });
    subscription.def("has_ended", [](const DeliveryHandle& self) {
        return Unlocked([&] { return self->HasEnded(); });
    });
    subscription.def("statistics", &Statistics);
    subscription.def("fileno", [](const DeliveryHandle& self) {
        return Unlocked([&] { return self->GetDescriptor(); });
    });
    subscription.def("abandon", [](const DeliveryHandle& self) { self->Abandon(); });
    module.def("close_deliveries", &CloseHub);
    module.def("abandon_deliveries", &AbandonHub);
    module.def("count_other_calls", [] { return GetCallGate().CountUnderWay() - 1; });
}

}  // namespace velmora::python
