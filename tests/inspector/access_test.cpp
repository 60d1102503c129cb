// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/client.h"

#include <stdexcept>
#include <vector>

namespace velmora::test {

namespace {

using inspector::Inspector;
using inspector::InspectorOptions;

class InspectorAccess : public InspectorTest {};

const std::string token = "0123456789abcdef";

TEST_F(InspectorAccess, RefusesOptionsThatAreNotSafe) {
    const auto make = [&](const std::string& address, const std::string& given) {
        InspectorOptions tried;
        tried.address = address;
        tried.token = given;
        tried.port = 0;
        const Inspector made(streams, types, tried);
    };
    EXPECT_NO_THROW(make("127.0.0.1", ""));
    EXPECT_NO_THROW(make("127.9.9.9", ""));
    EXPECT_NO_THROW(make("::1", ""));
    EXPECT_NO_THROW(make("0.0.0.0", token));
    for (const char* address : {"0.0.0.0", "::", "10.0.0.1", "localhost", ""}) {
        EXPECT_THROW(make(address, ""), std::invalid_argument) << address;
    }
    for (const char* given : {"short", "0123456789 abcdef", "0123456789abcde\xff"}) {
        EXPECT_THROW(make("127.0.0.1", given), std::invalid_argument) << given;
    }
    try {
        make("0.0.0.0", "");
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "The address '0.0.0.0' is not of the loopback, so a token is needed: the "
                     "inspector shows all that the host's streams hold.");
    }
}

TEST_F(InspectorAccess, StartsAndStopsAgain) {
    Start();
    const std::uint16_t port = Port();
    EXPECT_EQ(inspector->GetUrl(), "http://127.0.0.1:" + std::to_string(port) + "/");
    inspector->Start();
    EXPECT_EQ(Port(), port);
    RawClient open(port);
    RawClient waiting(port);
    waiting.Send("GET / HTTP/1.1\r\n");
    inspector->Stop();
    EXPECT_EQ(open.ReadAll(), "");
    EXPECT_EQ(Port(), 0);
    inspector->Start();
    EXPECT_EQ(Get("/healthz").body, "ok\n");
    // The port of another inspector.
    options.port = Port();
    EXPECT_THROW(Inspector(streams, types, options).Start(), Poco::Exception);
}

TEST_F(InspectorAccess, AsksForTheToken) {
    options.token = token;
    Start();
    const std::vector<std::string> wrong = {"",
                                            "Authorization: Bearer 0123456789abcdeF\r\n",
                                            "Authorization: Bearer \r\n",
                                            "Authorization: Bearer 0123456789abcdef0\r\n",
                                            "Authorization: Bearer 0123456789abcde\r\n",
                                            "Authorization: Basic 0123456789abcdef\r\n",
                                            "Cookie: velmora_inspector_0=" + token + "\r\n",
                                            "Cookie: velmora_inspector_0=\r\n"};
    for (const std::string& header : wrong) {
        const Reply reply = Get("/api/about", header);
        EXPECT_EQ(reply.status, 401) << header;
        EXPECT_EQ(reply.body, R"({"error":"The token is missing or wrong."})");
        EXPECT_NE(reply.head.find("WWW-Authenticate: Bearer"), std::string::npos);
        EXPECT_EQ(Get("/api/stream?path=a", header).status, 401) << header;
        EXPECT_EQ(Get("/", header).status, 303) << header;
    }
    EXPECT_EQ(Get("/api/about", "Authorization: bearer " + token + "\r\n").status, 200);
    EXPECT_EQ(Get("/api/about?token=" + token).status, 401);
    EXPECT_EQ(Get("/healthz").status, 200);
    EXPECT_EQ(Get("/login").status, 200);
    EXPECT_EQ(Get("/nosuch").status, 404);
}

TEST_F(InspectorAccess, GivesACookieForTheToken) {
    options.token = token;
    Start();
    const auto post = [&](const std::string& body, const std::string& headers = "") {
        RawClient client(Port());
        client.Send("POST /login HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n" + headers +
                    "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
        return ToReply(client.ReadAll());
    };
    EXPECT_NE(post("token=wrong").head.find("Location: login?wrong"), std::string::npos);
    EXPECT_EQ(post("token=wrong").head.find("Set-Cookie"), std::string::npos);
    EXPECT_EQ(post("token=" + token, "Origin: http://evil.example\r\n").status, 403);
    const Reply reply = post("a=b&token=" + token, "Origin: http://localhost\r\n");
    EXPECT_EQ(reply.status, 303);
    EXPECT_NE(reply.head.find("Location: ./"), std::string::npos);
    const std::size_t begin = reply.head.find("Set-Cookie: ") + 12;
    const std::string cookie = reply.head.substr(begin, reply.head.find("\r\n", begin) - begin);
    EXPECT_NE(cookie.find("; HttpOnly; SameSite=Strict"), std::string::npos) << cookie;
    EXPECT_EQ(cookie.find(token), std::string::npos);
    const std::string header = "Cookie: x=y; " + cookie.substr(0, cookie.find(';')) + "\r\n";
    EXPECT_EQ(Get("/api/about", header).status, 200);
    EXPECT_EQ(Get("/", header).status, 200);
}

TEST_F(InspectorAccess, AnswersUnderItsOwnNamesOnly) {
    options.hosts = {"Plant.example"};
    Start();
    const auto status = [&](const std::string& host, const std::string& more = "") {
        return StatusOf("GET /api/about HTTP/1.1\r\nConnection: close\r\n" +
                        (host == "-" ? "" : "Host: " + host + "\r\n") + more + "\r\n");
    };
    for (const char* host : {"localhost", "LOCALHOST:80", "127.0.0.1:8080", "127.0.0.1", "[::1]:1",
                             "plant.example", "plant.EXAMPLE:443"}) {
        EXPECT_EQ(status(host), 200) << host;
    }
    for (const char* host :
         {"evil.example", "127.0.0.1.evil.example", "localhost.", "10.0.0.1", "localhost:x",
          "localhost:", "", "-", "[::1", "plant.example@evil.example", "0.0.0.0"}) {
        EXPECT_EQ(status(host), 403) << host;
    }
    EXPECT_EQ(status("localhost", "Host: evil.example\r\n"), 400);
    EXPECT_EQ(status("localhost", "Origin: http://evil.example\r\n"), 403);
    EXPECT_EQ(status("localhost", "Origin: null\r\n"), 403);
    EXPECT_EQ(status("localhost", "Sec-Fetch-Site: cross-site\r\n"), 403);
    EXPECT_EQ(status("localhost", "Sec-Fetch-Site: same-origin\r\n"), 200);
}

TEST_F(InspectorAccess, SendsHeadersThatKeepBrowsersSafe) {
    Start();
    for (const char* address :
         {"/", "/page.css", "/dygraph.js", "/login", "/api/about", "/nosuch"}) {
        const Reply reply = Get(address, "Origin: http://localhost\r\n");
        for (const char* header :
             {"Content-Security-Policy: default-src 'none'; script-src 'self';",
              "X-Content-Type-Options: nosniff", "Cross-Origin-Resource-Policy: same-origin",
              "Cache-Control: no-store"}) {
            EXPECT_NE(reply.head.find(header), std::string::npos) << address << header;
        }
        EXPECT_EQ(reply.head.find("Access-Control"), std::string::npos) << address;
        EXPECT_FALSE(reply.body.empty());
    }
    EXPECT_EQ(Get("/index.html").body, Get("/").body);
}

TEST_F(InspectorAccess, KnowsTwoMethods) {
    Start();
    const Reply head = Get("/api/about", "", "HEAD");
    EXPECT_EQ(head.status, 200);
    EXPECT_EQ(head.body, "");
    EXPECT_NE(head.head.find("Content-Length: "), std::string::npos);
    for (const char* method : {"PUT", "DELETE", "OPTIONS", "TRACE", "CONNECT"}) {
        EXPECT_EQ(Get("/", "", method).status, 405) << method;
    }
    EXPECT_EQ(Get("/api/about", "Content-Length: 0\r\n", "POST").status, 405);
}

TEST_F(InspectorAccess, KeepsConnectionsOpen) {
    Start();
    RawClient client(Port());
    const std::string ask = "GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n";
    // Two at once, the second one in two parts.
    client.Send(ask + ask.substr(0, 10));
    EXPECT_NE(client.ReadUntil("ok\n").find("Connection: Keep-Alive"), std::string::npos);
    client.Send(ask.substr(10));
    EXPECT_NE(client.ReadUntil("ok\n").find("200"), std::string::npos);
    // A version that does not.
    client.Send("GET /healthz HTTP/1.0\r\nHost: localhost\r\n\r\n");
    EXPECT_NE(client.ReadAll().find("Connection: Close"), std::string::npos);
}

}  // namespace

}  // namespace velmora::test
