// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/document.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <limits>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace velmora::test {

namespace tsn = core::tessaryn;

template <class T>
void SetPair(tsn::Sample& sample, unsigned short entry, T first, T second) {
    sample.Set(entry, 0, first);
    sample.Set(entry, 1, second);
}

template <class T>
void SetLimits(tsn::Sample& sample, unsigned short entry) {
    SetPair(sample, entry, std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max());
}

/// A layout with an entry of each value type, and one whose size differs from sample to sample.
inline tsn::StreamType AllTypes() {
    tsn::StreamType layout;
    layout.Add("text", tsn::String, 0);
    for (const tsn::BaseType type :
         {tsn::Int8, tsn::Int16, tsn::Int32, tsn::Int64, tsn::UInt8, tsn::UInt16, tsn::UInt32,
          tsn::UInt64, tsn::Float, tsn::Double, tsn::Bool}) {
        layout.Add(ToString(type), type, 2);
    }
    layout.Add("grows", tsn::Int16, 3).Add("level", tsn::Double, 1);
    return layout;
}

/// Values that a careless text form loses; which texts and numbers depends on a counter.
inline void PushAllTypes(tsn::Stream& stream, int number, long long time) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double third = 1.0 / 3;
    const std::string texts[] = {"", std::string("\0\x01\x1f\n\r\t ", 7), "a<&>\"'; b", "\u00e9"};
    tsn::Sample sample(stream.GetStreamType(), Poco::Timestamp());
    sample.Set(0, texts[number % 4]);
    SetLimits<char>(sample, 1);
    SetLimits<short>(sample, 2);
    SetLimits<int>(sample, 3);
    SetLimits<long long>(sample, 4);
    SetLimits<unsigned char>(sample, 5);
    SetLimits<unsigned short>(sample, 6);
    SetLimits<unsigned int>(sample, 7);
    SetLimits<unsigned long long>(sample, 8);
    const double doubles[] = {nan, inf, -inf, third * number, -0.0, 5e-324, 1e308};
    SetPair(sample, 9, static_cast<float>(doubles[number % 4]), static_cast<float>(third));
    SetPair(sample, 10, doubles[number % 7], third + number);
    SetPair(sample, 11, number % 2 == 0, number % 3 == 0);
    sample.Resize(12, static_cast<unsigned int>(number % 5));
    sample.Set(13, 0, doubles[number % 4]);
    stream.PushNew(new tsn::Sample(Restamped(std::move(sample), Poco::Timestamp(time))));
}

/// Time and bytes of each sample, in the order of pushing.
inline std::vector<std::string> SamplesOf(const tsn::Stream& stream) {
    std::vector<std::string> texts;
    stream.GetAllInPushOrder([&](const std::vector<tsn::Sample*>& samples) {
        for (const tsn::Sample* const sample : samples) {
            std::ostringstream out;
            out << sample->GetTimeStamp().epochMicroseconds() << ' ';
            sample->Serialize(out);
            texts.push_back(out.str());
        }
    });
    return texts;
}

/// All that a document holds, in a form that compares.
inline std::vector<std::string> ContentOf(const tsn::Document& document) {
    std::ostringstream out;
    out << document.types->groupSeparator() << document.streams->groupSeparator() << '\n';
    std::vector<std::string> content;
    document.streams->ForEachStream([&](const std::string& path, const tsn::Stream& stream) {
        const tsn::StreamType& type = *stream.GetStreamType();
        out << path << ' ' << type.GetFullName() << ' ' << type.GetVersion().ToString() << ' '
            << stream.GetMaxSize() << ' ' << type.GetHash();
        for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
            const tsn::SampleEntry entry = type.GetEntry(id);
            out << ' ' << entry.key << ' ' << ToString(entry.type) << ' ' << entry.initialSize;
        }
        content.push_back(out.str());
        out.str("");
        for (std::string& text : SamplesOf(stream)) {
            content.push_back(std::move(text));
        }
    });
    content.push_back(out.str());
    return content;
}

}  // namespace velmora::test
