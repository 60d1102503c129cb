// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What the Python package is compared with: the same rows pushed, and the same arrays filled, by a
// program in C++. Prints a line for each, with the nanoseconds that a row takes at least.

#include "tessaryn/field.h"
#include "tessaryn/sample_batch.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

namespace {

using namespace velmora::core::tessaryn;  // NOLINT(google-build-using-namespace)

constexpr std::size_t numColumns = 4;
using Fields = std::vector<Field<double>>;

struct Rows {
    explicit Rows(std::size_t count) : times(count) {
        std::iota(times.begin(), times.end(), 1'700'000'000'000'000);
        for (std::vector<double>& column : columns) {
            column.resize(count);
            std::iota(column.begin(), column.end(), 0.5);
        }
    }

    std::vector<Poco::Timestamp::TimeVal> times;
    std::array<std::vector<double>, numColumns> columns;
};

template <class Work>
double Seconds(Work work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void Push(Stream& stream, const Fields& fields, const Rows& rows) {
    SampleBatch batch = MakeSamples(*stream.GetStreamType(), rows.times);
    for (std::size_t i = 0; i < numColumns; ++i) {
        SetColumn(batch, fields[i], rows.columns[i]);
    }
    stream.PushMany(batch);
}

// The sum keeps the arrays from being left out.
double Read(const Stream& stream, const Fields& fields) {
    double sum = 0;
    stream.GetAllInPushOrder([&](const std::vector<Sample*>& samples) {
        const auto times = std::make_unique_for_overwrite<std::int64_t[]>(samples.size());
        std::array<std::unique_ptr<double[]>, numColumns> columns;
        for (std::unique_ptr<double[]>& column : columns) {
            column = std::make_unique_for_overwrite<double[]>(samples.size());
        }
        for (std::size_t row = 0; row < samples.size(); ++row) {
            times[row] = Field<double>::TimeOf(*samples[row]);
            for (std::size_t i = 0; i < numColumns; ++i) {
                columns[i][row] = fields[i](*samples[row]);
            }
        }
        sum = columns[0][samples.size() / 2] + static_cast<double>(times[samples.size() - 1]);
    });
    return sum;
}

}  // namespace

int main(int argc, char** argv) {
    const std::size_t count = argc > 1 ? std::stoul(argv[1]) : 1'000'000;
    StreamType type;
    for (const char* const name : {"a", "b", "c", "d"}) {
        type.Add(name, Double, 1);
    }
    Fields fields;
    for (unsigned short id = 0; id < numColumns; ++id) {
        fields.emplace_back(type, id);
    }
    const Rows rows(count);
    double pushing = std::numeric_limits<double>::max();
    double reading = pushing;
    for (int repetition = 0; repetition < 3; ++repetition) {
        Stream stream(&type, static_cast<long>(count));
        pushing = std::min(pushing, Seconds([&] { Push(stream, fields, rows); }));
        for (int again = 0; again < 2; ++again) {
            reading = std::min(reading, Seconds([&] {
                                   if (Read(stream, fields) == 0) {
                                       std::cerr << "nothing was read\n";
                                   }
                               }));
        }
    }
    const double nanoseconds = 1e9 / static_cast<double>(count);
    std::cout << "push " << pushing * nanoseconds << "\nread " << reading * nanoseconds << '\n';
    return 0;
}
