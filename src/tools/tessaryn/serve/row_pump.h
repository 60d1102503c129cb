// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/feed.h"
#include "source/open_sources.h"
#include "source/sample_source.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::tool {

/// Pushes the rows of an open source into the streams of a plant.
class RowPump {
  public:
    /// \param context \ownership observes
    /// \param stream the stream of rows that name none
    /// \param resumes see `Plant::Push`
    RowPump(const FeedContext& context, std::string stream, bool resumes)
        : context(context), defaultStream(std::move(stream)), resumes(resumes) {}

    /// Opens a source; waits until its entries are known.
    /// \return false when the run ended before that
    /// \throws CommandError
    bool Open(SampleSource& opened);

    /// Pushes the row that the source read last.
    /// \param time microseconds since the Unix epoch
    void Push(std::int64_t time);

    /// Pushes all rows, until the source or the run ends.
    void PushAll(const SignalWatcher& signals);

  private:
    /// A stream, and the entries that rows have for it.
    struct Target {
        const PlantStream* stream = nullptr;
        bool isSameLayout = false;
        std::vector<std::pair<unsigned short, unsigned short>> entries{};
    };

    Target& FindTarget();
    Target MakeTarget(const std::string& name);

    const FeedContext& context;
    std::string defaultStream;
    bool resumes;
    SampleSource* source = nullptr;
    core::tessaryn::StreamType type;
    std::map<std::string, Target, std::less<>> targets;
    Target* last = nullptr;
    std::string lastName;
};

/// How a source of the configuration is read.
SourceSettings MakeSourceSettings(const FeedContext& context);

}  // namespace velmora::tool
