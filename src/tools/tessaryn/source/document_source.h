// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "source/sample_source.h"
#include "storage/document.h"

#include <cstddef>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::tool {

/// The samples of one stream of a document, in the order in which they were pushed.
class DocumentSource : public SampleSource {
  public:
    /// \param document the document that has the stream
    /// \param name the stream's path, for messages
    DocumentSource(std::shared_ptr<const core::tessaryn::Document> document,
                   const core::tessaryn::Stream& stream, std::string name);

    void BeforeWait(std::function<void(const SourceProgress&)> /*action*/) override {}
    bool Open(core::tessaryn::StreamType& type) override;
    bool Next() override;
    std::int64_t GetTime() const override {
        return samples[next - 1]->GetTimeStamp().epochMicroseconds();
    }
    void Fill(core::tessaryn::Sample& sample) override;
    std::string GetPosition() const override { return name + ":" + std::to_string(next); }

  private:
    std::shared_ptr<const core::tessaryn::Document> document;
    const core::tessaryn::Stream& stream;
    std::string name;
    std::vector<core::tessaryn::Sample*> samples;
    std::size_t next = 0;
    std::stringstream binary;
};

}  // namespace velmora::tool
