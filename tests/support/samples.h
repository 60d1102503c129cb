// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/live_count.h"
#include "tessaryn/named_object.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <cstring>
#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace velmora::test {

/// A parent for stream types, whose name can be changed.
class NamedParent : public core::INamedObject {
  public:
    explicit NamedParent(const std::string& parentName) : name(parentName) {}
    std::string GetName() const override { return name; }
    std::string GetFullName() const override { return "Root." + name; }

    std::string name;
};

/// A stream type together with its parent.
struct TestType {
    TestType(std::initializer_list<core::tessaryn::SampleEntry> entries,
             const std::string& name = "Pos", const utils::Version& version = {1, 0, 0})
        : parent(name), type(version, &parent) {
        for (const core::tessaryn::SampleEntry& entry : entries) {
            type.Add(entry.key, entry.type, entry.initialSize);
        }
    }
    TestType(const TestType&) = delete;
    TestType& operator=(const TestType&) = delete;

    NamedParent parent;
    core::tessaryn::StreamType type;
};

/// The bytes of a value in memory.
template <class T>
std::string BytesOf(T value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

/// The binary form of entries with these bytes.
inline std::string BinaryForm(const std::vector<std::string>& entries) {
    std::string table = BytesOf(0U);
    std::string bytes;
    for (const std::string& entry : entries) {
        bytes += entry;
        table += BytesOf(static_cast<unsigned int>(bytes.size()));
    }
    return table + bytes;
}

inline std::string BinaryOf(const core::tessaryn::Sample& sample) {
    std::ostringstream out;
    sample.Serialize(out);
    return out.str();
}

inline void ReadBinary(core::tessaryn::Sample& sample, const std::string& bytes) {
    std::istringstream in(bytes);
    sample.Deserialize(in);
}

/// A sample that is counted.
class CountedSample : public core::tessaryn::Sample, public LiveCount<CountedSample> {
  public:
    using Sample::Sample;
    explicit CountedSample(Sample&& sample) : Sample(std::move(sample)) {}
};

}  // namespace velmora::test
