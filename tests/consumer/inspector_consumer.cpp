// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "velmora/inspector/inspector.h"
#include "velmora/tessaryn/stream_repository.h"
#include "velmora/tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>

int main() {
    using namespace velmora::core::tessaryn;
    StreamTypeRepository types(Poco::Logger::root(), '/');
    StreamRepository streams(Poco::Logger::root(), '/');
    velmora::inspector::InspectorOptions options;
    options.port = 0;
    velmora::inspector::Inspector inspector(streams, types, options);
    inspector.Start();
    return inspector.GetPort() != 0 ? 0 : 1;
}
