// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/client_rule.h"
#include "inspector/model.h"
#include "inspector/request.h"
#include "inspector/sample_batches.h"
#include "inspector/sample_json.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::inspector {

/// The samples that a request asks for.
///
/// \threadsafety external
struct SampleQuery {
    /// \throws RequestError
    SampleQuery(const Model& model, const Request& request);

    std::string path;
    TimeRange range;
    std::optional<ClientRule> rule;
    bool isFromHistory = false;
    /// Of the stream as it is; those that samples lack are null.
    std::vector<ShownEntry> entries;

    /// All samples of the range, whether the rule holds or not.
    std::unique_ptr<SampleBatches> Open(const Model& model, bool isBackwards) const;
};

/// The entries, looked up in the types of successive samples.
///
/// \threadsafety external
class EntryLookup {
  public:
    explicit EntryLookup(const std::vector<ShownEntry>& entries) : entries(entries) {}

    /// The entries in a sample; the type is `UnknownType` for one that the sample lacks.
    const std::vector<ShownEntry>& Find(const core::tessaryn::Sample& sample);

  private:
    const std::vector<ShownEntry>& entries;
    const core::tessaryn::StreamType* type = nullptr;
    std::vector<ShownEntry> found;
};

/// Stops work that takes too long.
///
/// \threadsafety external
class WorkTime {
  public:
    explicit WorkTime(const InspectorLimits& limits)
        : end(std::chrono::steady_clock::now() + limits.workTime) {}
    bool IsOver() const { return std::chrono::steady_clock::now() >= end; }

  private:
    std::chrono::steady_clock::time_point end;
};

}  // namespace velmora::inspector
