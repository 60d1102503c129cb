// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/frame_reader.h"

#include "exchange/exchange_exception.h"

#include <algorithm>
#include <istream>
#include <string_view>

namespace velmora::exchange {

FrameReader::FrameReader(std::istream& in, LayoutRegistry& layouts, const ReaderLimits& limits)
    : in(in), layouts(layouts), limits(limits), decoder(limits.sample) {}

FrameReader::~FrameReader() = default;

FrameReader::Result FrameReader::Read() {
    sample = nullptr;
    error.clear();
    if (scan.status == FrameScan::Status::complete) {
        position += scan.size;
    }
    return FindNextFrame() ? Use() : Result::end;
}

// Finds the next valid frame and stores it in `scan`.
bool FrameReader::FindNextFrame() {
    for (;;) {
        scan = ScanFrame(std::string_view(buffer).substr(position), limits.maxPayload);
        switch (scan.status) {
            case FrameScan::Status::complete:
                return true;
            case FrameScan::Status::incomplete:
                if (!Fill(scan.size)) {
                    if (position == buffer.size()) {
                        return false;
                    }
                    Skip(0);
                }
                break;
            case FrameScan::Status::invalid:
                Skip(scan.size);
                break;
        }
    }
}

// Reads until the buffer holds this many bytes behind the position; false if the stream ends
// before.
bool FrameReader::Fill(std::size_t size) {
    constexpr std::size_t maxStep = 65536;
    if (position >= buffer.size() - position) {
        buffer.erase(0, position);
        position = 0;
    }
    while (buffer.size() - position < size) {
        const std::size_t before = buffer.size();
        // Allocates at most twice what has arrived, whatever length a header claims.
        const std::size_t step = std::max(maxStep, before);
        buffer.resize(std::min(position + size, before + step));
        in.read(buffer.data() + before, static_cast<std::streamsize>(buffer.size() - before));
        const auto got = static_cast<std::size_t>(in.gcount());
        buffer.resize(before + got);
        consumed += got;
        if (got == 0) {
            return false;
        }
    }
    return true;
}

// Moves to where the next frame can begin. The inside of a damaged frame is searched as well, since
// a lost byte makes the next frame appear to lie in it; but only within a budget, so that a
// malicious peer cannot make the same bytes be checked again and again.
void FrameReader::Skip(std::size_t damaged) {
    constexpr std::uint64_t maxChecksPerByte = 4;
    statistics.damagedBytes += damaged;
    std::size_t next = position + damaged;
    if (damaged == 0 || statistics.damagedBytes <= maxChecksPerByte * consumed) {
        next = FindFrame(buffer, position + 1);
    }
    statistics.skippedBytes += next - position;
    position = next;
}

FrameReader::Result FrameReader::Use() try {
    const Frame& frame = scan.frame;
    if (frame.header.kind == FrameKind::type) {
        layouts.Learn(frame.header.fingerprint, frame.payload);
        ++statistics.descriptions;
        return Result::type;
    }
    core::tessaryn::StreamType* const type = layouts.Find(frame.header.fingerprint);
    if (type == nullptr) {
        ++statistics.unknown;
        return Result::unknownLayout;
    }
    sample = &decoder.Decode(frame, *type);
    ++statistics.samples;
    return Result::sample;
} catch (const ExchangeException& exception) {
    error = exception.what();
    ++statistics.refused;
    return Result::refused;
}

}  // namespace velmora::exchange
