// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/model.h"

#include "inspector/request_error.h"
#include "tessaryn/stream_repository.h"

namespace velmora::inspector {

using core::tessaryn::Stream;

bool Model::TryVisit(const std::string& path, const std::function<void(Stream&)>& visit) const {
    bool isFound = false;
    streams.AtomicExecute([&] { isFound = streams.VisitStream(path, visit); });
    return isFound;
}

void Model::Visit(const std::string& path, const std::function<void(Stream&)>& visit) const {
    if (!TryVisit(path, visit)) {
        throw RequestError(404, "There is no stream '" + path + "'.");
    }
}

}  // namespace velmora::inspector
