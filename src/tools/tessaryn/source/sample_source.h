// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velmora::tool {

/// Where samples come from.
class SampleSource {
  public:
    SampleSource() = default;
    SampleSource(const SampleSource&) = delete;
    SampleSource& operator=(const SampleSource&) = delete;
    virtual ~SampleSource() = default;

    /// Adds the source's entries to an empty type; waits until it knows them.
    /// \return false when the run ended before
    /// \throws CommandError when the source can't be read
    virtual bool Open(core::tessaryn::StreamType& type) = 0;

    /// Pushes the next sample; waits for it.
    /// \return false at the end of the source, or of the run
    /// \throws CommandError when the source can't be read, or holds what it shouldn't
    virtual bool PushNext(core::tessaryn::Stream& stream) = 0;

    /// Where the sample pushed last comes from, for messages.
    virtual std::string GetPosition() const = 0;

    /// What the user may want to know once the source is open.
    virtual std::vector<std::string> GetNotes() const { return {}; }

    /// Pieces of bad input that were passed over.
    virtual std::uint64_t GetSkipped() const { return 0; }
    /// What was wrong with the first of them.
    virtual std::string GetFirstSkipped() const { return {}; }
};

}  // namespace velmora::tool
