// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/fuzz.h"
#include "inspector/api.h"
#include "inspector/request_error.h"
#include "inspector/request_reader.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/JSON/Parser.h>
#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <string>

namespace velmora::test {

namespace {

using namespace inspector;
using core::tessaryn::Sample;

// A host with a few streams, one of them named as an attacker would.
class Host {
  public:
    Host() : api(streams, types, options, metrics) {
        tank.Add("level", core::tessaryn::Double, 1);
        tank.Add("alarms", core::tessaryn::UInt64, 2);
        tank.Add("<b>", core::tessaryn::String, 0);
        for (const char* path : {"a", "b/c", "<img src=x>\xff"}) {
            core::tessaryn::Stream& stream = *streams.AddStream(path, &tank, 50);
            for (int i = 0; i < 40; ++i) {
                Sample sample(&tank, Poco::Timestamp());
                sample.Set(0, 0, i * 0.5);
                sample.Set(2, "\xff\"<");
                stream.PushNew(new Sample(Restamped(std::move(sample), Poco::Timestamp(i / 2))));
            }
        }
        api.Start();
    }

    Answer Handle(const Request& request) { return api.Handle(request); }
    const InspectorLimits& Limits() const { return options.limits; }

  private:
    static InspectorOptions Options() {
        InspectorOptions options;
        options.token = "0123456789abcdef";
        return options;
    }

    core::tessaryn::StreamTypeRepository types{Poco::Logger::root(), '/'};
    core::tessaryn::StreamType& tank = types.Add("Tank")->PushNew({1, 0, 0});
    core::tessaryn::StreamRepository streams{Poco::Logger::root(), '/'};
    const InspectorOptions options = Options();
    HostMetrics metrics;
    Api api;
};

Host& TheHost() {
    static Host host;
    return host;
}

// All of an answer, which nothing of the request may break.
void Consume(const Request& request, Answer answer) {
    const std::string head = FormatAnswer(answer, false, false);
    ASSERT_EQ(head.find("\r\n\r\n"), head.size() - 4);
    if (answer.type == "application/json") {
        ASSERT_NO_THROW(Poco::JSON::Parser().parse(answer.body)) << answer.body;
    }
    if (answer.rest) {
        while (answer.rest->Append(answer.body)) {
        }
    }
    if (answer.status == 200 && request.path.starts_with("/api/")) {
        ASSERT_EQ(request.bearer, "0123456789abcdef");
    }
}

// The requests of a connection, whose bytes come in parts.
void Read(const std::string& bytes, ByteChoices& choices) {
    RequestReader reader(TheHost().Limits());
    Request request;
    for (std::size_t begin = 0; begin < bytes.size();) {
        const std::size_t size = 1 + choices.Below(255);
        reader.Append(std::string_view(bytes).substr(begin, size));
        begin += size;
        while (reader.Read(request)) {
            ASSERT_TRUE(request.path.starts_with("/"));
            ASSERT_EQ(request.path.find_first_of(std::string_view("\0 \r\n", 4)),
                      std::string::npos);
            request.localAddress = "127.0.0.1";
            try {
                Consume(request, TheHost().Handle(request));
            } catch (const RequestError& error) {
                Consume(request, MakeError(error.GetStatus(), error.what()));
            }
        }
    }
}

}  // namespace

// The first byte says whether the rest is a connection's bytes or a query that a client with the
// token sends.
void Fuzz(std::string_view input) {
    ByteChoices choices(input);
    const bool isQuery = choices.Below(2) == 0;
    std::string bytes(choices.Take(isQuery ? 2000 : 8000));
    if (isQuery) {
        for (char& c : bytes) {
            c = c <= ' ' || c >= '\x7f' ? '+' : c;
        }
        bytes = "GET /" + bytes +
                " HTTP/1.1\r\nHost: localhost\r\nAuthorization: Bearer 0123456789abcdef\r\n\r\n";
    }
    try {
        Read(bytes, choices);
    } catch (const RequestError& error) {
        ASSERT_GE(error.GetStatus(), 400);
    }
}

}  // namespace velmora::test
