// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "source/sample_source.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velmora::tool {

/// A stream, and one type of its samples.
struct StreamLayout {
    std::string path;
    /// \ownership observes: valid as long as its reader
    core::tessaryn::StreamType* type = nullptr;
    /// Samples that the stream keeps; 0 for all.
    long maxSize = 0;
    /// Units of the entries, in their order; may be empty.
    std::vector<std::string> units{};
};

/// Finds the layout of a sample among those that were announced. The type objects of samples may be
/// others than the announced ones, but equal them.
class LayoutIndex {
  public:
    /// \param layouts \ownership observes
    explicit LayoutIndex(const std::vector<StreamLayout>& layouts) : layouts(layouts) {}

    /// \return an index into the layouts
    /// \throws CommandError when there is none
    std::size_t Find(const std::string& path, const core::tessaryn::StreamType& type);

  private:
    const std::vector<StreamLayout>& layouts;
    // Most samples belong to the same stream as the previous one.
    std::string lastPath;
    const core::tessaryn::StreamType* lastType = nullptr;
    std::size_t lastIndex = 0;
};

/// Reads the samples of a file.
class SampleReader {
  public:
    SampleReader() = default;
    SampleReader(const SampleReader&) = delete;
    SampleReader& operator=(const SampleReader&) = delete;
    virtual ~SampleReader() = default;

    /// The streams; one with samples of several types is listed for each of these.
    virtual std::vector<StreamLayout> GetStreams() const = 0;
    /// Separates the names in a path.
    virtual char GetSeparator() const { return '/'; }

    /// Hints, before the first call of `Next`, which samples are needed.
    /// \param pattern of the streams' paths; empty for all
    /// \param since,until microseconds since the Unix epoch; the second is excluded
    virtual void Restrict(const std::string& /*pattern*/, std::int64_t /*since*/,
                          std::int64_t /*until*/) {}

    /// Reads the next sample.
    /// \return false at the end
    virtual bool Next() = 0;
    /// How much of the file was read, if that is known.
    virtual SourceProgress GetProgress() const { return {}; }
    // The sample that `Next` read; valid until it is called again.
    virtual const std::string& GetPath() const = 0;
    virtual const core::tessaryn::Sample& GetSample() const = 0;
};

}  // namespace velmora::tool
