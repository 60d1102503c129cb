// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/access.h"
#include "inspector/answer.h"
#include "inspector/event_hub.h"
#include "inspector/host_metrics.h"
#include "inspector/inspector_options.h"
#include "inspector/request.h"
#include "inspector/stream_index.h"
#include "inspector/stream_info.h"

#include <Poco/Timestamp.h>

#include <memory>
#include <string>

namespace velmora::core::tessaryn {
class StreamRepository;
class StreamTypeRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::inspector {

/// Answers requests, independently of how they are transported.
///
/// \threadsafety guarded
class Api {
  public:
    /// \param options must outlive this, as the others
    Api(core::tessaryn::StreamRepository& streams, core::tessaryn::StreamTypeRepository& types,
        const InspectorOptions& options, const HostMetrics& host);

    /// Starts and stops following the streams.
    void Start();
    void Stop();
    /// \throws RequestError, storage::HistoryException
    Answer Handle(const Request& request);

  private:
    struct Route;

    static const Route* FindRoute(const std::string& path);
    Answer DescribeHost(const Request& request);

    const InspectorOptions& options;
    const HostMetrics& host;
    Access access;
    StreamIndex index;
    Model model;
    std::unique_ptr<EventHub> events;
    Poco::Timestamp started;
};

}  // namespace velmora::inspector
