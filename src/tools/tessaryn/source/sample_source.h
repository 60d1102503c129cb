// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velmora::tool {

/// How much of a source was read.
struct SourceProgress {
    std::uint64_t bytesRead = 0;
    /// Bytes of the source; 0 for a source without a size.
    std::uint64_t bytes = 0;
};

/// Where samples come from.
class SampleSource {
  public:
    SampleSource() = default;
    SampleSource(const SampleSource&) = delete;
    SampleSource& operator=(const SampleSource&) = delete;
    virtual ~SampleSource() = default;

    /// Sets what is called each time before the source may wait for data.
    virtual void BeforeWait(std::function<void(const SourceProgress&)> action) = 0;

    /// Adds the source's entries to an empty type; waits until they are known.
    /// \return false when the run ended before that
    /// \throws CommandError when the source cannot be read
    virtual bool Open(core::tessaryn::StreamType& type) = 0;

    /// Pushes the next sample; waits for it.
    /// \return false at the end of the source, or of the run
    /// \throws CommandError when the source cannot be read, or a row of it is bad
    virtual bool PushNext(core::tessaryn::Stream& stream) = 0;

    /// Where the newest sample comes from, for messages.
    virtual std::string GetPosition() const = 0;

    /// Notes for the user, available once the source is open.
    virtual std::vector<std::string> GetNotes() const { return {}; }

    /// Number of bad rows that were skipped.
    virtual std::uint64_t GetSkipped() const { return 0; }
    /// What was wrong with the first of them.
    virtual std::string GetFirstSkipped() const { return {}; }
};

}  // namespace velmora::tool
