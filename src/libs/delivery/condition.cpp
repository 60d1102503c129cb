// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/condition.h"

#include "tessaryn/sample.h"

#include <utility>

namespace velmora::delivery {

using core::tessaryn::popped;
using core::tessaryn::SubscriptionArgs;

Sink::~Sink() = default;
Condition::~Condition() = default;
void Condition::Flush(const Poco::Timestamp& /*now*/, Sink& /*sink*/) {}

// Hands what a condition emits to the next one.
class ConditionChain::Link : public Sink {
  public:
    Link(ConditionChain& chain, std::size_t next, Sink& end) : chain(chain), next(next), end(end) {}
    void Emit(SubscriptionArgs& change) override { chain.ProcessFrom(next, change, end); }

  private:
    ConditionChain& chain;
    std::size_t next;
    Sink& end;
};

ConditionChain::ConditionChain() = default;

ConditionChain::ConditionChain(const ConditionChain& other)
    : newest(other.newest), late(other.late) {
    for (const auto& stage : other.stages) {
        stages.push_back(stage->Clone());
    }
}

ConditionChain::ConditionChain(ConditionChain&&) noexcept = default;

ConditionChain& ConditionChain::operator=(ConditionChain other) noexcept {
    stages.swap(other.stages);
    newest = other.newest;
    late = other.late;
    return *this;
}

ConditionChain::~ConditionChain() = default;

ConditionChain ConditionChain::Then(const ConditionChain& next) const {
    ConditionChain both(*this);
    for (const auto& stage : next.stages) {
        both.stages.push_back(stage->Clone());
    }
    return both;
}

void ConditionChain::Process(SubscriptionArgs& change, Sink& sink) {
    if (stages.empty()) {
        sink.Emit(change);
        return;
    }
    if (change.changeType == popped) {
        return;
    }
    const Poco::Timestamp time = change.sample->GetTimeStamp();
    if (time < newest) {
        ++late;
        return;
    }
    newest = time;
    ProcessFrom(0, change, sink);
}

void ConditionChain::Flush(const Poco::Timestamp& now, Sink& sink) {
    for (std::size_t i = 0; i < stages.size(); ++i) {
        Link next(*this, i + 1, sink);
        stages[i]->Flush(now, next);
    }
}

void ConditionChain::ProcessFrom(std::size_t stage, SubscriptionArgs& change, Sink& sink) {
    if (stage == stages.size()) {
        sink.Emit(change);
        return;
    }
    Link next(*this, stage + 1, sink);
    stages[stage]->Process(change, next);
}

}  // namespace velmora::delivery
