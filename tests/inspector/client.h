// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/inspector.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Exception.h>
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <Poco/Logger.h>
#include <Poco/Net/SocketAddress.h>
#include <Poco/Net/StreamSocket.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace velmora::test {

/// A client that sends raw bytes.
class RawClient {
  public:
    explicit RawClient(std::uint16_t port) : socket(Poco::Net::SocketAddress("127.0.0.1", port)) {
        socket.setReceiveTimeout(Poco::Timespan(20, 0));
    }

    /// \return whether the server still accepted them
    bool Send(std::string_view bytes) {
        try {
            while (!bytes.empty()) {
                bytes.remove_prefix(static_cast<std::size_t>(
                    socket.sendBytes(bytes.data(), static_cast<int>(bytes.size()))));
            }
            return true;
        } catch (const Poco::Exception&) {
            return false;
        }
    }
    /// Reads up to a text, or up to the end of the connection.
    std::string ReadUntil(const std::string& text) {
        while (read.find(text) == std::string::npos && ReadSome()) {
        }
        const std::size_t end = std::min(read.find(text), read.size());
        const std::string part = read.substr(0, std::min(end + text.size(), read.size()));
        read.erase(0, part.size());
        return part;
    }
    /// Reads up to the end of the connection.
    std::string ReadAll() {
        while (ReadSome()) {
        }
        return std::exchange(read, {});
    }

    Poco::Net::StreamSocket socket;

  private:
    bool ReadSome() {
        char bytes[65536];
        try {
            const int count = socket.receiveBytes(bytes, sizeof bytes);
            read.append(bytes, static_cast<std::size_t>(std::max(count, 0)));
            return count > 0;
        } catch (const Poco::TimeoutException&) {
            ADD_FAILURE() << "nothing came";
        } catch (const Poco::Exception&) {
        }
        return false;
    }

    std::string read;
};

/// The parts of an answer.
struct Reply {
    int status = 0;
    std::string head;
    std::string body;

    Poco::JSON::Object::Ptr Json() const {
        try {
            return Poco::JSON::Parser().parse(body).extract<Poco::JSON::Object::Ptr>();
        } catch (const Poco::Exception& error) {
            ADD_FAILURE() << error.displayText() << " in " << body;
            return new Poco::JSON::Object;
        }
    }
};

inline Reply ToReply(const std::string& text) {
    Reply reply;
    if (text.size() > 12 && text.starts_with("HTTP/1.1 ")) {
        reply.status = std::stoi(text.substr(9, 3));
    }
    const std::size_t end = std::min(text.find("\r\n\r\n"), text.size());
    reply.head = text.substr(0, end);
    reply.body = text.substr(std::min(end + 4, text.size()));
    return reply;
}

/// A small host with an inspector, which each test has to start.
class InspectorTest : public testing::Test {
  protected:
    InspectorTest() {
        options.port = 0;
        options.title = "plant";
        tank->Add("level", core::tessaryn::Double, 1);
        tank->Add("alarms", core::tessaryn::UInt64, 2);
        tank->Add("note", core::tessaryn::String, 0);
    }

    void Start() {
        inspector = std::make_unique<inspector::Inspector>(streams, types, options);
        inspector->Start();
    }
    std::uint16_t Port() const { return inspector->GetPort(); }

    /// Sends one request; each of the headers ends with a line feed.
    Reply Get(const std::string& address, const std::string& headers = "",
              const std::string& method = "GET") const {
        RawClient client(Port());
        client.Send(method + " " + address +
                    " HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n" + headers + "\r\n");
        return ToReply(client.ReadAll());
    }
    /// The status of the answer to a raw request.
    int StatusOf(const std::string& request) const {
        RawClient client(Port());
        client.Send(request);
        return ToReply(client.ReadAll()).status;
    }

    void Push(const std::string& path, std::int64_t time, double level, std::uint64_t alarm = 0,
              const std::string& note = "") {
        core::tessaryn::Sample sample(tank, Poco::Timestamp());
        sample.Set(0, 0, level);
        sample.Set(1, 0, static_cast<unsigned long long>(alarm));
        sample.Set(2, note);
        streams.GetStream(path).PushNew(
            new core::tessaryn::Sample(Restamped(std::move(sample), Poco::Timestamp(time))));
    }

    Poco::Logger& logger = Poco::Logger::get("inspector-test");
    core::tessaryn::StreamTypeRepository types{logger, '/'};
    core::tessaryn::StreamType* const tank = &types.Add("area/Tank")->PushNew({1, 0, 0});
    core::tessaryn::StreamRepository streams{logger, '/'};
    inspector::InspectorOptions options;
    std::unique_ptr<inspector::Inspector> inspector;
};

}  // namespace velmora::test
