// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/value_traits.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

/// The library's access to samples beyond their public operations.
///
/// \threadsafety external, as the sample
class SampleAccess {
  public:
    /// The time stamp without a copy, which POCO makes out of line.
    static const Poco::Timestamp& TimeOf(const Sample& sample) { return sample.timestamp; }

    /// The type, also if a derived class overrides it.
    static const StreamType* TypeOf(const Sample& sample) { return sample.streamType; }

    static void SetTime(Sample& sample, const Poco::Timestamp& timestamp) {
        sample.timestamp = timestamp;
        sample.NoteStamp();
    }

    /// Whether the sample was ever put into a stream, which then owns it.
    static bool IsStored(const Sample& sample) { return sample.stampMark != nullptr; }
    /// \param stampMark \ownership observes: set by each stamp of the sample from now on
    static void SetStored(Sample& sample, std::atomic<bool>& stampMark) {
        sample.stampMark = &stampMark;
    }

    /// Gives a sample that nobody uses any more the state of a new one, in its own memory.
    /// \return false, and the sample is as it was, where a new one has other sizes
    static bool Renew(Sample& sample, StreamType& type) {
        const std::vector<unsigned int>& initial = type.GetMemOffsetLookup();
        if (sample.streamType != &type || sample.numOffsets != initial.size() ||
            sample.TotalSize() != initial.back()) {
            return false;
        }
        std::memset(sample.data.get(), 0, initial.back());
        std::memcpy(sample.offsets.get(), initial.data(), initial.size() * sizeof(unsigned int));
        sample.stampMark = nullptr;
        return true;
    }
    /// Makes a sample a copy of another one, in its own memory.
    /// \return false, and the sample is as it was, where the other one has another size
    static bool Overwrite(Sample& sample, const Sample& other) {
        const std::uint32_t total = other.TotalSize();
        if (other.numOffsets == 0 || sample.numOffsets != other.numOffsets ||
            sample.TotalSize() != total) {
            return false;
        }
        std::memcpy(sample.data.get(), other.data.get(), total);
        std::memcpy(sample.offsets.get(), other.offsets.get(),
                    std::size_t{other.numOffsets} * sizeof(unsigned int));
        sample.streamType = other.streamType;
        sample.timestamp = other.timestamp;
        return true;
    }
    static std::size_t TotalSize(const Sample& sample) { return sample.TotalSize(); }
    /// Before a sample is renewed or deleted that was not used for long.
    static void Prefetch(const Sample& sample) {
        __builtin_prefetch(sample.data.get());
        __builtin_prefetch(sample.offsets.get());
    }

    static char* DataOf(Sample& sample) { return sample.data.get(); }
    static const char* DataOf(const Sample& sample) { return sample.data.get(); }

    /// Where an entry begins in the data, and its bytes; 0 of an entry that the sample does not
    /// have.
    static std::pair<std::size_t, std::size_t> BytesOf(const Sample& sample, unsigned short entry) {
        if (std::uint32_t{entry} + 1 >= sample.numOffsets) {
            return {0, 0};
        }
        const unsigned int begin = sample.offsets[entry];
        return {begin, sample.offsets[std::size_t{entry} + 1] - begin};
    }

    /// \param type null for a sample without a type
    [[noreturn]] static void ThrowNoEntry(const StreamType* type, unsigned short entry) {
        const std::string missing = "Entry " + std::to_string(entry) + " does not exist";
        if (type == nullptr) {
            throw std::out_of_range(missing + ": the sample has no stream type.");
        }
        throw std::out_of_range(missing + " in stream type '" + type->GetFullName() +
                                "', which has " + std::to_string(type->GetNumEntries()) + ".");
    }

    /// A sample whose entries have these element counts, all bytes zero.
    /// \param sizes one for each entry of the type
    /// \throws std::length_error when the sample would exceed 2^32-1 bytes
    static Sample Make(StreamType& type, const Poco::Timestamp& timestamp,
                       const std::vector<unsigned int>& sizes) {
        return {&type, timestamp, sizes};
    }

    /// A sample of the same type whose entries have these element counts, all bytes zero.
    /// \param sizes one for each entry of the type
    /// \throws std::length_error when the sample would exceed 2^32-1 bytes
    static Sample MakeLike(const Sample& sample, const Poco::Timestamp& timestamp,
                           const std::vector<unsigned int>& sizes) {
        return {sample.streamType, timestamp, sizes};
    }

    /// A sample from its binary form.
    /// \param discarded \ownership takes: an exact `Sample`, in whose memory this one is decoded as
    /// far as it has the same size; or null
    /// \pre `CheckSample` accepts the bytes
    static std::unique_ptr<Sample> Decode(StreamType& type, const Poco::Timestamp& timestamp,
                                          std::string_view bytes,
                                          std::unique_ptr<Sample> discarded = nullptr) {
        const std::size_t tableSize =
            (std::size_t{type.GetNumEntries()} + 1) * sizeof(unsigned int);
        return Decode(type, timestamp, bytes.substr(0, tableSize), bytes.substr(tableSize),
                      std::move(discarded));
    }
    /// The same, of both parts of the form: its offsets and its elements.
    static std::unique_ptr<Sample> Decode(StreamType& type, const Poco::Timestamp& timestamp,
                                          std::string_view table, std::string_view elements,
                                          std::unique_ptr<Sample> discarded = nullptr) {
        const std::size_t numOffsets = table.size() / sizeof(unsigned int);
        std::unique_ptr<Sample> sample = std::move(discarded);
        if (sample == nullptr || sample->numOffsets != numOffsets) {
            // By hand: the constructor is private, and moving a sample reads the clock.
            sample.reset(new Sample(timestamp));
            sample->offsets = std::make_unique_for_overwrite<unsigned int[]>(numOffsets);
            sample->data = std::make_unique_for_overwrite<char[]>(elements.size());
        } else if (sample->TotalSize() != elements.size()) {
            sample->data = std::make_unique_for_overwrite<char[]>(elements.size());
        }
        std::memcpy(sample->offsets.get(), table.data(), table.size());
        if (!elements.empty()) {
            std::memcpy(sample->data.get(), elements.data(), elements.size());
        }
        sample->numOffsets = static_cast<std::uint32_t>(numOffsets);
        sample->streamType = &type;
        sample->timestamp = timestamp;
        sample->stampMark = nullptr;
        return sample;
    }

    /// The element counts of all entries of the sample's type.
    static std::vector<unsigned int> SizesOf(const Sample& sample) {
        std::vector<unsigned int> sizes(sample.streamType->GetNumEntries());
        for (std::size_t entry = 0; entry < sizes.size(); ++entry) {
            sizes[entry] = sample.GetSize(static_cast<unsigned short>(entry));
        }
        return sizes;
    }

    /// Bytes of the elements of a sample with these element counts.
    static std::uint64_t BytesOfElements(const StreamType& type,
                                         const std::vector<unsigned int>& sizes) {
        std::uint64_t bytes = 0;
        for (std::size_t i = 0; i < sizes.size(); ++i) {
            const BaseType element = type.GetType(static_cast<unsigned short>(i));
            bytes += std::uint64_t{traits::ElementSize(element)} * sizes[i];
        }
        return bytes;
    }

    /// \throws std::length_error when 32 bits do not address so many bytes
    static void CheckTotal(std::uint64_t bytes) {
        if (bytes > std::numeric_limits<unsigned int>::max()) {
            throw std::length_error("A sample cannot hold " + std::to_string(bytes) +
                                    " bytes: the limit is 4294967295.");
        }
    }
};

}  // namespace velmora::core::tessaryn
