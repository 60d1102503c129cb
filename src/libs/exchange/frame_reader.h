// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/export.h"
#include "exchange/frame.h"
#include "exchange/layout_registry.h"
#include "exchange/sample_decoder.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_check.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>

namespace velmora::exchange {

/// Limits of what a reader accepts from an unknown peer.
struct ReaderLimits {
    std::size_t maxPayload = std::size_t{1} << 20;  ///< bytes of a frame's payload
    core::tessaryn::SampleLimits sample;
};

/// Counts of a reader.
struct ReaderStatistics {
    std::uint64_t samples = 0;       ///< handed out
    std::uint64_t descriptions = 0;  ///< of types, known ones included
    std::uint64_t unknown = 0;       ///< samples of a layout that nobody described
    std::uint64_t refused = 0;       ///< frames whose payload does not match the header
    std::uint64_t skippedBytes = 0;  ///< bytes between valid frames
    /// Bytes covered by checksums that did not match. At most 5 times the bytes read.
    std::uint64_t damagedBytes = 0;
};

/// Reads frames from a stream that is not trusted.
///
/// Bytes that are not part of a valid frame are skipped and counted. A sample of an unknown layout
/// is counted and reported as `unknownLayout`, so that the host can ask for the description. Reads
/// no more from the stream than the current frame needs.
///
/// Time is linear in the bytes received, whatever a peer sends. Memory is that of the largest
/// frame, within the limits, of which bytes were received.
///
/// The stream and the registry must outlive the reader.
///
/// \threadsafety external
class EXCHANGE_API FrameReader {
  public:
    enum class Result {
        sample,         ///< `GetSample` gives it
        type,           ///< a description, new or known
        unknownLayout,  ///< a sample of the layout that `GetFrame` names; it is skipped
        refused,        ///< a frame with invalid content; `GetError` says why
        end             ///< nothing more comes
    };

    /// \param in \ownership observes: binary
    /// \param layouts \ownership observes: layouts that the stream describes are added
    FrameReader(std::istream& in, LayoutRegistry& layouts, const ReaderLimits& limits = {});
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;
    ~FrameReader();

    /// Reads up to the next valid frame. Blocks while the stream does.
    /// \throws what the stream throws; std::bad_alloc
    Result Read();

    /// The frame that `Read` found, unless it returned `end`.
    /// \return \ownership lends: until the next `Read`
    const Frame& GetFrame() const { return scan.frame; }

    /// The sample, after `Result::sample`, with the time of its frame.
    /// \return \ownership lends: until the next `Read`; may be moved from
    core::tessaryn::Sample& GetSample() { return *sample; }

    /// Why the frame was refused, after `Result::refused`.
    const std::string& GetError() const { return error; }

    const ReaderStatistics& GetStatistics() const { return statistics; }

  private:
    bool FindNextFrame();
    bool Fill(std::size_t size);
    void Skip(std::size_t damaged);
    Result Use();

    std::istream& in;
    LayoutRegistry& layouts;
    ReaderLimits limits;
    SampleDecoder decoder;
    ReaderStatistics statistics;
    std::string buffer;
    std::size_t position = 0;
    std::uint64_t consumed = 0;
    FrameScan scan;
    core::tessaryn::Sample* sample = nullptr;
    std::string error;
};

}  // namespace velmora::exchange
