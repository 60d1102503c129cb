// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/client.h"

#include <chrono>
#include <deque>
#include <string>

namespace velmora::test {

namespace {

using std::chrono::milliseconds;

class HostileClient : public InspectorTest {
  protected:
    // Other clients are still served.
    void ExpectAlive() { EXPECT_EQ(Get("/healthz").body, "ok\n"); }
};

TEST_F(HostileClient, GetsTheReason) {
    const struct {
        const char* name;
        std::string request;
        int status;
    } rows[] = {
        {"no request", "\r\n\r\n", 400},
        {"a blank line first", "\r\nGET / HTTP/1.1\r\n\r\n", 400},
        {"one word", "GET\r\n\r\n", 400},
        {"two blanks", "GET  / HTTP/1.1\r\n\r\n", 400},
        {"lower case", "get / HTTP/1.1\r\n\r\n", 400},
        {"whole address", "GET http://localhost/ HTTP/1.1\r\n\r\n", 400},
        {"nul in the address", std::string("GET /\0 HTTP/1.1\r\n\r\n", 19), 400},
        {"other bytes in the address", "GET /\xC3\xA9 HTTP/1.1\r\n\r\n", 400},
        {"version", "GET / HTTP/2.0\r\n\r\n", 505},
        {"no colon", "GET / HTTP/1.1\r\nHost localhost\r\n\r\n", 400},
        {"blank before the colon", "GET / HTTP/1.1\r\nHost : localhost\r\n\r\n", 400},
        {"folded header", "GET / HTTP/1.1\r\nHost: localhost\r\n more\r\n\r\n", 400},
        {"nul in a header", std::string("GET / HTTP/1.1\r\nHost: a\0b\r\n\r\n", 29), 400},
        {"two lengths",
         "POST /login HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\nContent-Length: "
         "2\r\n\r\n",
         400},
        {"negative length", "POST /login HTTP/1.1\r\nHost: localhost\r\nContent-Length: -1\r\n\r\n",
         400},
        {"length with sign",
         "POST /login HTTP/1.1\r\nHost: localhost\r\nContent-Length: +1\r\n\r\n", 400},
        {"large body", "POST /login HTTP/1.1\r\nHost: localhost\r\nContent-Length: 4097\r\n\r\n",
         413},
        {"length of 30 digits",
         "POST /login HTTP/1.1\r\nHost: localhost\r\nContent-Length: "
         "111111111122222222223333333333\r\n\r\n",
         413},
        {"a body of GET", "GET / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\n\r\nx", 413},
        {"chunks",
         "POST /login HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n",
         411},
        {"chunks and a length",
         "POST /login HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n"
         "Content-Length: 3\r\n\r\nabc",
         411},
        {"dots", "GET /../../etc/passwd HTTP/1.1\r\nHost: localhost\r\n\r\n", 404},
        {"escaped dots", "GET /%2e%2e/%2e%2e/etc/passwd HTTP/1.1\r\nHost: localhost\r\n\r\n", 404},
        {"escaped nul", "GET /page.css%00.html HTTP/1.1\r\nHost: localhost\r\n\r\n", 404},
        {"dots of files", "GET /page.css/../page.js HTTP/1.1\r\nHost: localhost\r\n\r\n", 404},
        {"broken escape", "GET /api/tree?path=%zz HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"cut escape", "GET /api/tree?path=%f HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"not an integer", "GET /api/tree?offset=1x HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"large integer",
         "GET /api/tree?offset=99999999999999999999 HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"negative", "GET /api/tree?limit=-1 HTTP/1.1\r\nHost: localhost\r\n\r\n", 400},
        {"long address", "GET /" + std::string(8192, 'a') + " HTTP/1.1\r\n\r\n", 414},
        {"long address without an end", "GET /" + std::string(9000, 'a'), 414},
        {"long header", "GET / HTTP/1.1\r\nA: " + std::string(9000, 'a') + "\r\n\r\n", 431},
        {"many parameters",
         "GET /?" +
             [] {
                 std::string text;
                 for (int i = 0; i < 301; ++i) {
                     text += "a=1&";
                 }
                 return text;
             }() +
             " HTTP/1.1\r\nHost: localhost\r\n\r\n",
         400},
        {"many headers",
         "GET / HTTP/1.1\r\n" +
             [] {
                 std::string text;
                 for (int i = 0; i < 65; ++i) {
                     text += "A: b\r\n";
                 }
                 return text;
             }() +
             "\r\n",
         431},
    };
    Start();
    for (const auto& row : rows) {
        // Malformed requests end the connection; the others get an error.
        const std::size_t line = row.request.find("\r\n");
        std::string request = row.request;
        if (row.status == 404) {
            request.insert(line + 2, "Connection: close\r\n");
        } else if (row.request.find("/api/") != std::string::npos) {
            request.insert(line + 2, "Connection: close\r\n");
        }
        EXPECT_EQ(StatusOf(request), row.status) << row.name;
    }
    ExpectAlive();
}

TEST_F(HostileClient, SendsHeadersWithoutAnEnd) {
    Start();
    RawClient client(Port());
    client.Send("GET / HTTP/1.1\r\n");
    const std::string header = "X: " + std::string(1000, 'x') + "\r\n";
    std::size_t sent = 0;
    while (sent < 100'000'000 && client.Send(header)) {
        sent += header.size();
    }
    EXPECT_LT(sent, 20'000'000U);
    ExpectAlive();
}

TEST_F(HostileClient, SendsSlowly) {
    options.limits.requestTime = milliseconds(100);
    options.limits.idleTime = milliseconds(100);
    Start();
    RawClient silent(Port());
    RawClient slow(Port());
    RawClient body(Port());
    body.Send("POST /login HTTP/1.1\r\nHost: localhost\r\nContent-Length: 10\r\n\r\n");
    const auto begin = std::chrono::steady_clock::now();
    // Each byte arrives in time, but the request does not.
    while (slow.Send("G") && std::chrono::steady_clock::now() < begin + milliseconds(2000)) {
    }
    EXPECT_EQ(ToReply(body.ReadAll()).status, 408);
    EXPECT_EQ(silent.ReadAll(), "");
    ExpectAlive();
}

TEST_F(HostileClient, ReadsNothing) {
    options.limits.sendTime = milliseconds(200);
    Start();
    RawClient client(Port());
    client.socket.setReceiveBufferSize(4096);
    std::string ask = "GET /dygraph.js HTTP/1.1\r\nHost: localhost\r\n\r\n";
    // More answers than the system's buffers hold for a client that does not read.
    while (client.Send(ask)) {
    }
    ExpectAlive();
}

TEST_F(HostileClient, ConnectsAThousandTimes) {
    options.limits.maxClients = 20;
    Start();
    std::deque<RawClient> clients;
    for (int i = 0; i < 1000; ++i) {
        clients.emplace_back(Port()).Send("GET /healthz HT");
        if (i % 100 == 0) {
            ExpectAlive();
        }
    }
    // The first connections were closed to make room for others.
    EXPECT_EQ(clients.front().ReadAll(), "");
    clients.back().Send("TP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(ToReply(clients.back().ReadAll()).body, "ok\n");
}

}  // namespace

}  // namespace velmora::test
