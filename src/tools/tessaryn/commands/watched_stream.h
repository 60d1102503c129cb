// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/document.h"
#include "tessaryn/named_object.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace velmora::tool {

/// The stream that a source is read into: one of a document, or one that ends with the run.
class WatchedStream {
  public:
    /// \param name the stream's name; the type of the source's entries has it, too
    explicit WatchedStream(const std::string& name);
    WatchedStream(const WatchedStream&) = delete;
    WatchedStream& operator=(const WatchedStream&) = delete;

    /// Opens the stream once the type has the source's entries.
    /// \param document \ownership observes: where the stream is kept; null for nowhere
    /// \param maxSize samples to keep, if the user says so
    /// \throws std::invalid_argument when the document's stream has other entries, the name cannot
    /// be kept, or the size is not 1 to 2^31-1
    void Open(core::tessaryn::Document* document, std::optional<long> maxSize);

    const std::string& GetName() const { return name.name; }
    /// The source's entries, which the source adds.
    core::tessaryn::StreamType& GetType() { return type; }
    /// Whether `Open` returned; what follows needs that.
    bool IsOpen() const { return stream != nullptr; }
    core::tessaryn::Stream& Get() const { return *stream; }
    /// Samples that the stream holds.
    std::uint64_t CountSamples() const;
    /// Samples that the ring dropped since `Open`.
    /// \param pushed samples pushed since then
    std::uint64_t CountDropped(std::uint64_t pushed) const;

  private:
    struct StreamName : core::INamedObject {
        explicit StreamName(const std::string& name) : name(name) {}
        std::string GetName() const override { return name; }
        std::string GetFullName() const override { return name; }
        std::string name;
    };

    StreamName name;
    core::tessaryn::StreamType type;
    std::unique_ptr<core::tessaryn::Stream> temporary;
    core::tessaryn::Stream* stream = nullptr;
    std::uint64_t samplesAtOpening = 0;
};

}  // namespace velmora::tool
