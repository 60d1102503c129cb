// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Writing and reading the binary form of a sample of 60 bytes in memory; samples of many entries.

#include "floor_sample.h"
#include "floor_stream.h"
#include "streams.h"
#include "tessaryn/field.h"

#include <Poco/MemoryStream.h>
#include <benchmark/benchmark.h>

#include <array>
#include <istream>
#include <map>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace velmora::benchmarks {
namespace {

constexpr std::size_t encodedSize = 60;

template <class AnySample>
void Encode(benchmark::State& state, AnySample& sample) {
    Fill(sample, ValueSets().front());
    std::array<char, encodedSize> bytes{};
    Poco::MemoryOutputStream out(bytes.data(), bytes.size());
    for (auto _ : state) {
        out.rdbuf()->reset();
        sample.Serialize(out);
        benchmark::ClobberMemory();
    }
    if (!out || out.charsWritten() != static_cast<std::streamsize>(encodedSize)) {
        state.SkipWithError("an encoding of another size");
    }
}

template <class AnySample>
void Decode(benchmark::State& state, AnySample& sample) {
    Fill(sample, ValueSets().front());
    std::array<char, encodedSize> bytes{};
    Poco::MemoryOutputStream out(bytes.data(), bytes.size());
    sample.Serialize(out);
    Poco::MemoryInputStream in(bytes.data(), bytes.size());
    for (auto _ : state) {
        in.rdbuf()->reset();
        sample.Deserialize(in);
        benchmark::ClobberMemory();
    }
    if (!in) {
        state.SkipWithError("the encoded sample is too short");
    }
}

void EncodeOurs(benchmark::State& state) {
    Sample sample(&TypeOfValues(), Poco::Timestamp());
    Encode(state, sample);
}

void EncodeFloor(benchmark::State& state) {
    FloorSample sample(FloorTypeOfValues(), Poco::Timestamp());
    Encode(state, sample);
}

void DecodeOurs(benchmark::State& state) {
    Sample sample(&TypeOfValues(), Poco::Timestamp());
    Decode(state, sample);
}

void DecodeFloor(benchmark::State& state) {
    FloorSample sample(FloorTypeOfValues(), Poco::Timestamp());
    Decode(state, sample);
}

// A stream buffer of a host's own, which nobody else knows.
class HostBuffer : public std::streambuf {
  public:
    explicit HostBuffer(std::string& bytes) : bytes(bytes) { Rewind(); }
    void Rewind() { setg(bytes.data(), bytes.data(), bytes.data() + bytes.size()); }

  private:
    std::string& bytes;
};

template <class AnySample>
void DecodeFromHost(benchmark::State& state, AnySample& sample) {
    std::ostringstream out;
    sample.Serialize(out);
    std::string bytes = out.str();
    HostBuffer buffer(bytes);
    std::istream in(&buffer);
    for (auto _ : state) {
        buffer.Rewind();
        sample.Deserialize(in);
        benchmark::ClobberMemory();
    }
    if (!in) {
        state.SkipWithError("the encoded sample is too short");
    }
}

// ---- Many entries ----

constexpr int entryRing = 64;

struct ManyEntries {
    explicit ManyEntries(int count) {
        floorType.offsets.push_back(0);
        for (int i = 0; i < count; ++i) {
            type.Add("e" + std::to_string(i), core::tessaryn::Double, 1);
            floorType.types.push_back(BaseType::Double);
            floorType.offsets.push_back(floorType.offsets.back() + sizeof(double));
        }
    }
    StreamType type;
    FloorType floorType;
};

template <class AnyStream, class AnySample, class AnyType>
void PushEntries(benchmark::State& state, AnyType type, int count) {
    AnyStream stream(type, entryRing);
    const auto push = [&] {
        stream.PushNew([count](AnySample& sample) {
            for (int id = 0; id < count; ++id) {
                sample.Set(static_cast<unsigned short>(id), 0, 1.5);
            }
        });
    };
    for (int i = 0; i < 2 * entryRing; ++i) {
        push();
    }
    for (auto _ : state) {
        push();
    }
}

void PushFields(benchmark::State& state, StreamType* type, int count) {
    std::vector<core::tessaryn::Field<double>> fields;
    for (int id = 0; id < count; ++id) {
        fields.emplace_back(*type, static_cast<unsigned short>(id));
    }
    Stream stream(type, entryRing);
    for (auto _ : state) {
        stream.PushNew([&fields](Sample& sample) {
            for (const auto& field : fields) {
                field.SetKeepingTime(sample, 1.5);
            }
        });
    }
}

void RegisterEntries(int count) {
    static std::map<int, std::unique_ptr<ManyEntries>> types;
    types[count] = std::make_unique<ManyEntries>(count);
    const ManyEntries* const many = types[count].get();
    StreamType* const type = &types[count]->type;
    if (count == 10 || count == 1000) {
        const std::string decode = "E2.host." + std::to_string(count);
        benchmark::RegisterBenchmark((decode + "/ours").c_str(), [type](benchmark::State& state) {
            Sample sample(type, Poco::Timestamp());
            DecodeFromHost(state, sample);
        });
        benchmark::RegisterBenchmark((decode + "/floor").c_str(), [many](benchmark::State& state) {
            FloorSample sample(many->floorType, Poco::Timestamp());
            DecodeFromHost(state, sample);
        });
    }
    const std::string op = "N." + std::to_string(count);
    benchmark::RegisterBenchmark((op + "/ours").c_str(), [type, count](benchmark::State& state) {
        PushEntries<Stream, Sample>(state, type, count);
    });
    benchmark::RegisterBenchmark((op + "/floor").c_str(), [many, count](benchmark::State& state) {
        PushEntries<FloorStream, FloorSample, const FloorType&>(state, many->floorType, count);
    });
    benchmark::RegisterBenchmark((op + "/fields").c_str(), PushFields, type, count);
}

}  // namespace

void RegisterSampleBenchmarks() {
    benchmark::RegisterBenchmark("E1/ours", EncodeOurs);
    benchmark::RegisterBenchmark("E1/floor", EncodeFloor);
    benchmark::RegisterBenchmark("E2/ours", DecodeOurs);
    benchmark::RegisterBenchmark("E2/floor", DecodeFloor);
    for (const int count : {1, 10, 100, 1000, 10'000}) {
        RegisterEntries(count);
    }
}

}  // namespace velmora::benchmarks
