// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/action.h"
#include "terminal/sample_reporter.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"
#include "text/time_printer.h"

#include <memory>
#include <string>

namespace velmora::tool {

/// Makes the events of one rule on one stream.
///
/// \threadsafety external
class EventMaker {
  public:
    /// \param type of the stream's samples
    EventMaker(const std::string& rule, const std::string& stream,
               const core::tessaryn::StreamType& type);
    EventMaker(const EventMaker&) = delete;
    EventMaker& operator=(const EventMaker&) = delete;

    std::shared_ptr<const Event> Make(const core::tessaryn::Sample& sample) const;

  private:
    std::string rule;
    std::string stream;
    mutable TimePrinter times{""};
    std::unique_ptr<SampleReporter> textReporter;
    std::unique_ptr<SampleReporter> jsonReporter;
};

}  // namespace velmora::tool
