// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/aggregates.h"

#include "tessaryn/sample.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

namespace velmora::delivery {

using namespace core::tessaryn;

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

std::shared_ptr<StreamType> MakeType() {
    auto type = std::make_shared<StreamType>();
    type->Add("begin", Int64, 1).Add("end", Int64, 1).Add("count", UInt64, 1);
    return type;
}

// Fills the sample of a summary, entry by entry in the order of its type.
class SummaryWriter {
  public:
    explicit SummaryWriter(StreamType* type) : sample(type, Poco::Timestamp(0)) {}

    template <class T>
    SummaryWriter& Write(T value) {
        sample.Set(next++, 0, value);
        return *this;
    }

    void Emit(const Poco::Timestamp& time, Sink& sink) {
        Sample stamped = Restamped(sample, time);
        SubscriptionArgs change{pushed, &stamped, nullptr};
        sink.Emit(change);
    }

  private:
    Sample sample;
    unsigned short next = 0;
};

}  // namespace

void NumberSummary::Add(double value) {
    if (std::isnan(value)) {
        return;
    }
    minimum = count == 0 ? value : std::min(minimum, value);
    maximum = count == 0 ? value : std::max(maximum, value);
    last = value;
    sum += value;
    ++count;
}

double NumberSummary::GetMin() const {
    return count == 0 ? notANumber : minimum;
}

double NumberSummary::GetMax() const {
    return count == 0 ? notANumber : maximum;
}

double NumberSummary::GetMean() const {
    return count == 0 ? notANumber : static_cast<double>(sum / static_cast<long double>(count));
}

double NumberSummary::GetLast() const {
    return count == 0 ? notANumber : last;
}

Window::Window(const StreamType& source, std::chrono::microseconds duration)
    : type(MakeType()), duration(duration.count()) {
    if (duration.count() <= 0) {
        throw std::invalid_argument("A window is longer than zero.");
    }
    AddColumns(source);
}

Window::Window(const StreamType& source, std::size_t changes)
    : type(MakeType()), maxCount(changes) {
    if (changes == 0) {
        throw std::invalid_argument("A window has at least one change.");
    }
    AddColumns(source);
}

void Window::AddColumns(const StreamType& source) {
    for (unsigned short id = 0; id < source.GetNumEntries(); ++id) {
        const SampleEntry entry = source.GetEntry(id);
        if (entry.type == String || entry.initialSize != 1) {
            continue;
        }
        columns.push_back({EntryReader(entry.key), {}});
        type->Add(entry.key + "_count", UInt64, 1);
        for (const char* const figure : {"_min", "_max", "_mean", "_last"}) {
            type->Add(entry.key + figure, Double, 1);
        }
    }
}

void Window::Process(SubscriptionArgs& change, Sink& sink) {
    const Sample& sample = *change.sample;
    const Poco::Timestamp time = sample.GetTimeStamp();
    Flush(time, sink);
    if (count == 0) {
        const Poco::Timestamp::TimeVal micros = time.epochMicroseconds();
        const Poco::Timestamp::TimeDiff into =
            duration == 0 ? 0 : (micros % duration + duration) % duration;
        begin = time - into;
        end = begin + duration;
    }
    ++count;
    for (Column& column : columns) {
        if (column.entry.Find(sample) && column.entry.IsNumeric() &&
            column.entry.GetSize(sample) != 0) {
            column.summary.Add(column.entry.GetNumber(sample, 0));
        }
    }
    if (duration == 0) {
        end = time;
        if (count == maxCount) {
            Close(sink);
        }
    }
}

void Window::Flush(const Poco::Timestamp& now, Sink& sink) {
    const bool isOver =
        duration == 0 ? now == Poco::Timestamp(Poco::Timestamp::TIMEVAL_MAX) : now >= end;
    if (count != 0 && isOver) {
        Close(sink);
    }
}

void Window::Close(Sink& sink) {
    SummaryWriter writer(type.get());
    writer.Write<long long>(begin.epochMicroseconds())
        .Write<long long>(end.epochMicroseconds())
        .Write<unsigned long long>(count);
    for (Column& column : columns) {
        const NumberSummary summary = std::exchange(column.summary, {});
        writer.Write<unsigned long long>(summary.GetCount())
            .Write(summary.GetMin())
            .Write(summary.GetMax())
            .Write(summary.GetMean())
            .Write(summary.GetLast());
    }
    count = 0;
    writer.Emit(end, sink);
}

Events::Events(Rule rule, const std::vector<std::string>& entries)
    : type(MakeType()), rule(std::move(rule)) {
    for (const std::string& name : entries) {
        columns.push_back({EntryReader(name), {}});
        type->Add(name + "_min", Double, 1).Add(name + "_max", Double, 1);
    }
}

void Events::Process(SubscriptionArgs& change, Sink& sink) {
    if (!rule.Applies(change)) {
        Flush(Poco::Timestamp(Poco::Timestamp::TIMEVAL_MAX), sink);
        return;
    }
    const Sample& sample = *change.sample;
    end = sample.GetTimeStamp();
    begin = count == 0 ? end : begin;
    ++count;
    for (Column& column : columns) {
        if (!column.entry.Find(sample) || !column.entry.IsNumeric()) {
            continue;
        }
        const unsigned int size = column.entry.GetSize(sample);
        for (unsigned int i = 0; i < size; ++i) {
            column.summary.Add(column.entry.GetNumber(sample, i));
        }
    }
}

void Events::Flush(const Poco::Timestamp& now, Sink& sink) {
    if (count == 0 || now < end) {
        return;
    }
    SummaryWriter writer(type.get());
    writer.Write<long long>(begin.epochMicroseconds())
        .Write<long long>(end.epochMicroseconds())
        .Write<unsigned long long>(count);
    for (Column& column : columns) {
        const NumberSummary summary = std::exchange(column.summary, {});
        writer.Write(summary.GetMin()).Write(summary.GetMax());
    }
    count = 0;
    writer.Emit(end, sink);
}

}  // namespace velmora::delivery
