// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/answer.h"
#include "inspector/inspector_options.h"
#include "inspector/json_text.h"
#include "inspector/request.h"
#include "inspector/stream_index.h"

#include <cstddef>
#include <functional>
#include <string>

namespace velmora::core::tessaryn {
class Stream;
class StreamRepository;
class StreamTypeRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::inspector {

class PushCounts;

/// What the answers about streams are made of.
///
/// \threadsafety guarded
struct Model {
    core::tessaryn::StreamRepository& streams;
    core::tessaryn::StreamTypeRepository& types;
    const InspectorOptions& options;
    StreamIndex& index;

    /// Calls a function with a stream, which is not removed meanwhile. The function must only copy.
    /// \return whether there is one
    bool TryVisit(const std::string& path,
                  const std::function<void(core::tessaryn::Stream&)>& visit) const;
    /// \throws RequestError when there is no stream of the path
    void Visit(const std::string& path,
               const std::function<void(core::tessaryn::Stream&)>& visit) const;
};

/// How many types there are, in all versions.
std::size_t CountTypes(const Model& model);

/// \name Answers in JSON, see docs/inspector.md
/// \throws RequestError
///@{
Answer ListChildren(const Model& model, const Request& request);
Answer FindStreams(const Model& model, const Request& request);
Answer ListTypes(const Model& model, const Request& request);
Answer DescribeStream(const Model& model, PushCounts& pushes, const Request& request);
Answer ListNewest(const Model& model, const Request& request);
///@}

}  // namespace velmora::inspector
