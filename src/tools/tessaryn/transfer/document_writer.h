// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/document.h"
#include "transfer/sample_writer.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::tool {

/// Writes a document, .xml or .json.
class DocumentWriter : public SampleWriter {
  public:
    /// \param streams the streams of the document
    /// \param separator splits their paths
    /// \throws CommandError when a document cannot have such streams
    DocumentWriter(const std::string& file, const std::vector<StreamLayout>& streams,
                   char separator);

    void Write(const std::string& path, const core::tessaryn::Sample& sample) override;
    void Finish() override;
    std::vector<std::string> GetLosses() const override { return losses; }

  private:
    struct Target {
        std::string path;
        core::tessaryn::StreamType* type;
        long maxSize;
        std::vector<std::unique_ptr<core::tessaryn::Sample>> samples;
    };

    core::tessaryn::StreamType& AddType(const std::string& path,
                                        const core::tessaryn::StreamType& type);
    void AddTarget(const StreamLayout& layout);

    std::string file;
    core::tessaryn::Document document;
    std::vector<StreamLayout> streams;
    LayoutIndex layouts{streams};
    // Streams are added at the end, when their numbers of samples are known.
    std::vector<Target> targets;
    std::vector<std::string> losses;
};

}  // namespace velmora::tool
