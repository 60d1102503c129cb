// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"
#include "workload.h"

namespace velmora::benchmarks {

using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamType;
using core::tessaryn::SubscriptionArgs;

/// The type of `Values`.
inline StreamType& TypeOfValues() {
    static StreamType type = [] {
        StreamType made;
        made.Add("temperature", core::tessaryn::Double, 1)
            .Add("pressure", core::tessaryn::Float, 4);
        made.Add("state", core::tessaryn::Int32, 1).Add("label", core::tessaryn::String, 12);
        return made;
    }();
    return type;
}

/// The type of `Values` with an entry each of the types `Int64`, `Bool` and `Float` more.
inline StreamType& TypeOfMoreValues() {
    static StreamType type = [] {
        StreamType made = TypeOfValues();
        made.Add("serial", core::tessaryn::Int64, 1);
        made.Add("open", core::tessaryn::Bool, 1).Add("level", core::tessaryn::Float, 1);
        return made;
    }();
    return type;
}

/// Pushes the next value set as a host does.
template <class AnyStream, class AnySample>
void PushValues(AnyStream& stream, ValueSource& source) {
    const Values& values = source.Next();
    stream.PushNew([&values](AnySample& sample) { Fill(sample, values); });
}

/// Pushes until the ring wraps in the middle.
template <class AnyStream, class AnySample>
void Wrap(AnyStream& stream, ValueSource& source, int size) {
    for (int i = 0; i < size + size / 2; ++i) {
        PushValues<AnyStream, AnySample>(stream, source);
    }
}

/// The target of a delegate: counts, nothing else.
template <class Args>
class Counter {
  public:
    void OnChange(const void* /*sender*/, Args& /*args*/) { ++calls; }
    long long Calls() const { return calls; }

  private:
    long long calls = 0;
};

}  // namespace velmora::benchmarks
