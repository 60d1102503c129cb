// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/subscription_rules.h"
#include "workload.h"

#include <Poco/Delegate.h>

#include <sstream>
#include <string>

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

/// A value set in its binary form: of `TypeOfValues()` 20 bytes of offsets, 40 bytes of data.
inline std::string EncodedValues(StreamType& type) {
    Sample sample(&type, Poco::Timestamp());
    Fill(sample, ValueSets().front());
    std::ostringstream out;
    sample.Serialize(out);
    return out.str();
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

/// A rule whose second comparison fails.
inline constexpr const char* ruleOfTwo = "temperature > 25.5 && state == 3";

/// A subscriber of a stream that counts.
class Listener {
  public:
    /// \param rule empty for `Always()`; null for no subscriber at all
    Listener(Stream& stream, const char* rule) {
        if (rule != nullptr) {
            stream.Subscribe(
                {*rule == '\0' ? core::tessaryn::Always() : core::tessaryn::Expression(rule),
                 Poco::delegate(&counter, &Counter<SubscriptionArgs>::OnChange)});
        }
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    long long Calls() const { return counter.Calls(); }

  private:
    Counter<SubscriptionArgs> counter;
};

}  // namespace velmora::benchmarks
