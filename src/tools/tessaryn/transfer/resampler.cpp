// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/resampler.h"

#include "command_error.h"
#include "tessaryn/sample_numbers.h"
#include "tessaryn/sample_time.h"
#include "text/escaped_text.h"
#include "transfer/copy_entry.h"

#include <algorithm>
#include <array>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

// In the order of the figures.
constexpr std::array<const char*, 4> figureNames = {"mean", "min", "max", "last"};

bool IsNumber(const tsn::SampleEntry& entry) {
    return entry.type != tsn::String && entry.initialSize == 1;
}

}  // namespace

Resampler::Resampler(const std::vector<StreamLayout>& sources, std::chrono::microseconds interval,
                     const std::vector<std::string>& figures)
    : sources(sources), length(interval.count()) {
    for (const std::string& name : figures) {
        const auto* const place = std::find(figureNames.begin(), figureNames.end(), name);
        if (place == figureNames.end()) {
            throw CommandError("--take " + Quoted(name) + " is not mean, min, max or last");
        }
        const auto figure = static_cast<Figure>(place - figureNames.begin());
        if (std::count(this->figures.begin(), this->figures.end(), figure) > 0) {
            throw CommandError("--take names " + Quoted(name) + " twice");
        }
        this->figures.push_back(figure);
    }
    for (const StreamLayout& source : sources) {
        AddSeries(source, figures);
    }
}

void Resampler::AddSeries(const StreamLayout& source, const std::vector<std::string>& names) {
    std::string name = source.path;
    std::replace(name.begin(), name.end(), '/', '.');
    Series& added = series.emplace_back(name);
    tsn::StreamType& type = added.type.Get();
    std::vector<std::string> units;
    for (unsigned short id = 0; id < source.type->GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = source.type->GetEntry(id);
        added.columns.push_back({id, IsNumber(entry)});
        const std::string unit = id < source.units.size() ? source.units[id] : "";
        for (std::size_t i = 0; i < (IsNumber(entry) ? figures.size() : 1); ++i) {
            const bool isNamed = IsNumber(entry) && figures.size() > 1;
            const bool isMade = IsNumber(entry) && figures[i] != Figure::last;
            type.Add(isNamed ? entry.key + "_" + names[i] : entry.key,
                     isMade ? tsn::Double : entry.type, entry.initialSize);
            units.push_back(unit);
        }
    }
    layouts.push_back({source.path, &type, 0, units});
}

void Resampler::Add(const std::string& path, const tsn::Sample& sample, SampleWriter& writer) {
    const std::size_t at = index.Find(path, *sample.GetStreamType());
    Series& own = series[at];
    const std::int64_t time = sample.GetTimeStamp().epochMicroseconds();
    if (own.last && time >= own.begin + length) {
        Write(at, writer);
    }
    if (!own.last) {
        own.begin = time - (time % length + length) % length;
    }
    for (Column& column : own.columns) {
        if (column.isNumber && sample.GetSize(column.id) > 0) {
            column.numbers.Add(tsn::GetNumber<double>(sample, column.id, 0));
        }
    }
    own.last = sample;
}

void Resampler::Finish(SampleWriter& writer) {
    for (std::size_t at = 0; at < series.size(); ++at) {
        if (series[at].last) {
            Write(at, writer);
        }
    }
}

void Resampler::Write(std::size_t at, SampleWriter& writer) {
    Series& own = series[at];
    tsn::Sample made(&own.type.Get(), Poco::Timestamp(own.begin));
    unsigned short to = 0;
    for (Column& column : own.columns) {
        if (!column.isNumber) {
            CopyEntry(*own.last, column.id, made, to++);
            continue;
        }
        for (const Figure figure : figures) {
            if (figure == Figure::last) {
                CopyEntry(*own.last, column.id, made, to);
            } else if (column.numbers.GetCount() == 0) {
                made.Resize(to, 0);
            } else {
                made.Set(to, 0,
                         figure == Figure::mean  ? column.numbers.GetMean()
                         : figure == Figure::min ? column.numbers.GetMin()
                                                 : column.numbers.GetMax());
            }
            ++to;
        }
        column.numbers = {};
    }
    own.last.reset();
    tsn::SetTimeStamp(made, Poco::Timestamp(own.begin));
    writer.Write(sources[at].path, made);
}

}  // namespace velmora::tool
