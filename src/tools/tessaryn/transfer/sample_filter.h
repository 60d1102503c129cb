// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/rule.h"
#include "delivery/stream_pattern.h"
#include "transfer/sample_reader.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// Which samples and entries a command selects.
struct FilterOptions {
    std::string stream;
    std::string since;
    std::string until;
    std::vector<std::string> columns;
    std::string rule;

    /// Whether everything is selected.
    bool IsEmpty() const {
        return stream.empty() && since.empty() && until.empty() && columns.empty() && rule.empty();
    }
};

/// Adds --stream, --since, --until, --columns and --rule to a command.
/// \param options \ownership observes: set when the command line is parsed
void AddFilterOptions(CLI::App& command, FilterOptions& options);

/// Selects streams, samples and entries.
class SampleFilter {
  public:
    /// \param reader \ownership observes: must outlive the filter
    /// \throws CommandError when an option is bad, or names what the reader does not have
    SampleFilter(const FilterOptions& options, SampleReader& reader);
    SampleFilter(const SampleFilter&) = delete;
    SampleFilter& operator=(const SampleFilter&) = delete;
    ~SampleFilter();

    /// The selected streams, with the types of the samples reduced to the selected entries.
    const std::vector<StreamLayout>& GetStreams() const { return selected; }

    /// Reads up to the next selected sample.
    /// \return false at the end
    /// \throws CommandError when the rule cannot be evaluated, and what the reader throws
    bool Next();
    // The sample that `Next` found; valid until it is called again.
    const std::string& GetPath() const { return reader.GetPath(); }
    const core::tessaryn::Sample& GetSample() const { return *sample; }

  private:
    class Projection;

    Projection& ProjectionOf(const core::tessaryn::StreamType& type);
    void SelectColumns();
    bool Matches(const core::tessaryn::Sample& candidate) const;

    SampleReader& reader;
    std::optional<delivery::StreamPattern> pattern;
    std::int64_t since;
    std::int64_t until;
    std::vector<std::string> columns;
    std::string ruleText;
    std::optional<delivery::Rule> rule;
    std::map<const core::tessaryn::StreamType*, std::unique_ptr<Projection>> projections;
    std::vector<StreamLayout> selected;
    const core::tessaryn::Sample* sample = nullptr;
};

}  // namespace velmora::tool
