// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "transfer/sample_reader.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::tool {

/// Writes samples to a new file, which replaces an old one at the end.
class SampleWriter {
  public:
    SampleWriter() = default;
    SampleWriter(const SampleWriter&) = delete;
    SampleWriter& operator=(const SampleWriter&) = delete;
    virtual ~SampleWriter() = default;

    /// \throws CommandError when the file cannot hold the sample
    virtual void Write(const std::string& path, const core::tessaryn::Sample& sample) = 0;
    /// Completes the file and moves it into place.
    /// \throws storage::StorageException when it cannot be written
    virtual void Finish() = 0;
    /// Warnings about information that the format loses, one sentence each; known after `Finish`.
    virtual std::vector<std::string> GetLosses() const { return {}; }
};

}  // namespace velmora::tool
