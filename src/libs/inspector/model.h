// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/inspector_options.h"
#include "inspector/stream_index.h"

#include <functional>
#include <string>

namespace velmora::core::tessaryn {
class Stream;
class StreamRepository;
class StreamTypeRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::inspector {

/// What the answers about streams are made of.
///
/// \threadsafety guarded
struct Model {
    core::tessaryn::StreamRepository& streams;
    core::tessaryn::StreamTypeRepository& types;
    const InspectorOptions& options;
    StreamIndex& index;

    /// Calls a function with a stream, which cannot be removed during the call. The function must
    /// only copy data.
    /// \return whether there is one
    bool TryVisit(const std::string& path,
                  const std::function<void(core::tessaryn::Stream&)>& visit) const;
    /// \throws RequestError when there is no stream of the path
    void Visit(const std::string& path,
               const std::function<void(core::tessaryn::Stream&)>& visit) const;
};

}  // namespace velmora::inspector
