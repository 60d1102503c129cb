// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"

#include <Poco/Timestamp.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

namespace velmora::core::tessaryn {

/// The binary forms of several samples, one after another, all of which were checked.
/// \threadsafety external
class EncodedSamples {
  public:
    /// \param type must outlive the samples
    /// \param times of the samples, microseconds since the Unix epoch; must outlive the object, as
    /// `bytes`
    /// \throws std::invalid_argument, naming the sample by its number from 0, when bytes are not
    /// those of a sample, or there are bytes of more samples
    EncodedSamples(StreamType& type, std::span<const Poco::Timestamp::TimeVal> times,
                   std::string_view bytes);

    std::size_t Count() const { return times.size(); }

    /// \param discarded \ownership takes: a sample in whose memory this one may be decoded; or null
    /// \pre there are samples left
    /// \throws std::invalid_argument when the type has changed and the sample no longer fits
    std::unique_ptr<Sample> DecodeNext(std::unique_ptr<Sample> discarded = nullptr);

  private:
    bool IsLikeChecked() const;
    std::string_view CheckedNext();
    std::string_view Next() const;

    StreamType& type;
    std::span<const Poco::Timestamp::TimeVal> times;
    std::string_view bytes;
    // Of the offsets of a sample, in bytes.
    std::size_t tableSize;
    std::uint64_t layout;
    // The last one that was checked.
    std::string_view checked;
    // Of the next sample.
    std::size_t number = 0;
    std::size_t begin = 0;
};

}  // namespace velmora::core::tessaryn
