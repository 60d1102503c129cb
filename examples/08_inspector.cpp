// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// A host that shows its streams: in a browser at the address that `GetUrl` gives, as JSON, and to
// Prometheus. This one asks itself, and ends.

#include "velmora/inspector/inspector.h"
#include "velmora/tessaryn/sample.h"
#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_repository.h"
#include "velmora/tessaryn/stream_type.h"
#include "velmora/tessaryn/stream_type_collection.h"
#include "velmora/tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/StreamCopier.h>

#include <iostream>
#include <string>

using namespace velmora::core::tessaryn;
using namespace velmora::inspector;

namespace {

std::string Ask(const Inspector& inspector, const std::string& address) {
    Poco::Net::HTTPClientSession session("127.0.0.1", inspector.GetPort());
    Poco::Net::HTTPRequest request("GET", address);
    session.sendRequest(request);
    Poco::Net::HTTPResponse response;
    std::string text;
    Poco::StreamCopier::copyToString(session.receiveResponse(response), text);
    return text;
}

}  // namespace

int main() {
    StreamTypeRepository types(Poco::Logger::root(), '/');
    StreamRepository streams(Poco::Logger::root(), '/');
    StreamType& tank = types.Add("Tank")->PushNew({1, 0, 0});
    tank.Add("level", Double, 1);
    streams.AddStream("plant/north/tank", &tank, 1000);

    // A host that runs on leaves the port out: the page is then at http://127.0.0.1:8080/.
    InspectorOptions options;
    options.port = 0;
    Inspector inspector(streams, types, options);
    inspector.Start();

    streams.GetStream("plant/north/tank").PushNew([](Sample& sample) { sample.Set(0, 0, 4.5); });
    std::cout << Ask(inspector, "/healthz") << Ask(inspector, "/api/tree?path=plant") << '\n';
}
