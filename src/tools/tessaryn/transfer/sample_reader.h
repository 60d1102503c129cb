// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

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
};

/// Reads the samples of a file, stream after stream, each in its order.
class SampleReader {
  public:
    SampleReader() = default;
    SampleReader(const SampleReader&) = delete;
    SampleReader& operator=(const SampleReader&) = delete;
    virtual ~SampleReader() = default;

    /// The streams; one that has samples of several types is there for each of them.
    virtual std::vector<StreamLayout> GetStreams() const = 0;
    /// Separates the names in a path.
    virtual char GetSeparator() const { return '/'; }

    /// Reads on.
    /// \return false at the end
    virtual bool Next() = 0;
    // What `Next` read; valid until it is called again.
    virtual const std::string& GetPath() const = 0;
    virtual const core::tessaryn::Sample& GetSample() const = 0;
};

}  // namespace velmora::tool
