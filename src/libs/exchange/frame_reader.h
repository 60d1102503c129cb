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

/// What a reader accepts from a peer that it does not know.
struct ReaderLimits {
    std::size_t maxPayload = std::size_t{1} << 20;  ///< bytes of a frame's payload
    core::tessaryn::SampleLimits sample;
};

/// What a reader has met so far.
struct ReaderStatistics {
    std::uint64_t samples = 0;       ///< handed out
    std::uint64_t descriptions = 0;  ///< of types, known ones included
    std::uint64_t unknown = 0;       ///< samples of a layout that nobody described
    std::uint64_t refused = 0;       ///< frames whose payload is not what the frame says
    std::uint64_t skippedBytes = 0;  ///< between frames: what is not a frame that passes its checks
    /// Checked in vain: of what looked like frames with damaged payloads. At most 5 times the bytes
    /// read.
    std::uint64_t damagedBytes = 0;
};

/// Reads frames, and believes nothing of one before it is checked.
///
/// Bytes that are not a frame are skipped and counted, up to the next one that passes its checks. A
/// sample whose layout nobody described is handed out as `unknownLayout`, so that the host can ask
/// for the description, and counted. Reads no more from the stream than the frame in hand needs.
///
/// Work is linear in the bytes that come, whatever a peer sends, and memory is that of the largest
/// frame within the limits of which bytes came.
///
/// The stream and the registry must outlive the reader.
///
/// \threadsafety external
class EXCHANGE_API FrameReader {
  public:
    enum class Result {
        sample,         ///< `GetSample` gives it
        type,           ///< a description was learnt, or repeats a known one
        unknownLayout,  ///< a sample of the layout that `GetFrame` names; it is skipped
        refused,        ///< a frame with the wrong content; `GetError` says what
        end             ///< nothing more comes
    };

    /// \param in \ownership observes: binary
    /// \param layouts \ownership observes: learns what the stream describes
    FrameReader(std::istream& in, LayoutRegistry& layouts, const ReaderLimits& limits = {});
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;
    ~FrameReader();

    /// Reads up to the next frame that passes its checks. Waits as long as the stream does.
    /// \throws what the stream throws; std::bad_alloc
    Result Read();

    /// The frame that `Read` came to, `end` aside.
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
