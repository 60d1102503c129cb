// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/document.h"
#include "transfer/sample_reader.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velmora::tool {

/// Reads the streams of a document, each in the order of pushing.
class DocumentReader : public SampleReader {
  public:
    /// \param maxMemory bytes that the document's nodes may take, and as many for its samples
    /// \throws storage::StorageException when the document cannot be read
    DocumentReader(const std::string& file, std::uint64_t maxMemory);

    std::vector<StreamLayout> GetStreams() const override;
    char GetSeparator() const override { return document.streams->groupSeparator(); }
    bool Next() override;
    const std::string& GetPath() const override { return streams[current].path; }
    const core::tessaryn::Sample& GetSample() const override { return *samples[next - 1]; }

  private:
    struct NamedStream {
        std::string path;
        core::tessaryn::Stream* stream;
    };

    core::tessaryn::Document document;
    std::vector<NamedStream> streams;
    // The index of the current stream.
    std::size_t current = static_cast<std::size_t>(-1);
    // Only this object uses the document, so the samples stay.
    std::vector<core::tessaryn::Sample*> samples;
    std::size_t next = 0;
};

}  // namespace velmora::tool
