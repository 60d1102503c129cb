// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// A NATS server as a source of the service.

#include "nats/server.h"
#include "serve/served.h"
#include "storage/history.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/URI.h>

namespace velmora::tool {
namespace {

using test::NatsServer;
using testing::HasSubstr;
using testing::Not;

constexpr const char* history = "[history]\nfile = plant.db\ncommit-every = 10ms\n";
constexpr const char* logAll = "[rule.all]\nrule = 'pushed()'\n";

std::string SourceOf(const std::string& url, const std::string& keys) {
    return "[source.plant]\nfrom = '" + url + "'\n" + keys;
}

// A row for each second, with its number.
void Publish(const NatsServer& server, const std::string& stream, const std::string& seconds) {
    std::string rows = "time,n\n";
    for (const char second : seconds) {
        rows += std::string("2026-01-01T00:00:0") + second + "Z," + second + "\n";
    }
    const Outcome run = RunTool("publish - --as " + stream + " --to " + server.GetUrl(), rows);
    ASSERT_EQ(run.status, 0) << run.err;
}

std::vector<std::uint64_t> CountRows(const Folder& folder) {
    std::vector<std::uint64_t> counts;
    const storage::History stored(folder.PathOf("plant.db"));
    for (const storage::HistoryStream& stream : stored.GetStreams()) {
        counts.push_back(stream.layouts.at(0).rowCount);
    }
    return counts;
}

TEST(ServeNats, ShowsStreamsOfSeveralProcessesOnItsPage) {
    const Folder folder;
    const NatsServer server;
    Publish(server, "plant/first", "123");
    Publish(server, "plant/second", "1");
    Publish(server, "other/line", "1");
    Served served(folder, "[page]\nlisten = '127.0.0.1:0'\n" +
                              SourceOf(server.GetUrl() + "/plant.>", "nats-start = all\n") +
                              history + logAll);
    const std::string about = served.ReadUntil("page at ");
    for (int i = 0; i < 4; ++i) {
        served.ReadUntil(" [all] n=");
    }
    const std::string url = about.substr(about.find("http://"));
    const Poco::URI uri(url);
    Poco::Net::HTTPClientSession session(uri.getHost(), uri.getPort());
    Poco::Net::HTTPRequest request("GET", "/api/search?q=/");
    session.sendRequest(request);
    Poco::Net::HTTPResponse answer;
    std::string body;
    Poco::StreamCopier::copyToString(session.receiveResponse(answer), body);
    EXPECT_THAT(body, HasSubstr("plant/first"));
    EXPECT_THAT(body, HasSubstr("plant/second"));
    EXPECT_THAT(body, Not(HasSubstr("other/line")));
    // The rules see a stream's first sample, too.
    Publish(server, "plant/third", "7");
    EXPECT_THAT(served.ReadUntil("plant/third"), HasSubstr("[all] n=7"));
    EXPECT_EQ(served.End().status, 0);
    EXPECT_EQ(CountRows(folder), (std::vector<std::uint64_t>{3, 1, 1}));
}

TEST(ServeNats, ContinuesWhereItStopped) {
    const Folder folder;
    const NatsServer server;
    const std::string config = "[page]\nlisten = none\n" +
                               SourceOf(server.GetUrl() + "/plant.>", "durable = page\n") +
                               history + logAll;
    Publish(server, "plant/tank", "12");
    {
        // The end of the block kills it.
        Served killed(folder, config);
        killed.ReadUntil("n=2");
    }
    Publish(server, "plant/tank", "34");
    Served served(folder, config);
    served.ReadUntil("n=4");
    EXPECT_EQ(served.End().status, 0);
    // It began with the newest sample.
    EXPECT_EQ(CountRows(folder), std::vector<std::uint64_t>{3});
}

TEST(ServeNats, KeepsPasswordsToItself) {
    const Folder folder;
    const NatsServer server({"--user", "tank", "--pass", "right"});
    const std::string host = server.GetUrl().substr(7);
    const std::string url = "nats://tank:s3cret@" + host;
    const auto check = [&](const std::string& from, const std::string& keys) {
        const std::string file =
            folder.Write("check.toml", "[page]\nlisten = none\n" + SourceOf(from, keys));
        return RunTool("serve --check-config --config " + file);
    };
    EXPECT_EQ(check(url, "").status, 0);
    for (const auto& [from, keys, reason] :
         {std::tuple(url + "/plant..x", "", "check.toml:4: the NATS subject 'plant..x'"),
          {url, "replay = true\n", "cannot be replayed"},
          {url, "nats-ca = '/none'\n", "cannot read the certificates of authorities '/none'"},
          {url, "nats-cert = '/dev/null'\n", "the NATS certificate needs its key"},
          {url, "durable = 'a b'\n", "the durable name 'a b'"},
          {url + " x", "", "the URL"}}) {
        const Outcome run = check(from, keys);
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, HasSubstr(reason));
        EXPECT_THAT(run.out + run.err, Not(HasSubstr("s3cret")));
    }

    Served served(folder, "[page]\nlisten = none\n" + SourceOf(url, "retry = 1s\n"));
    EXPECT_THAT(served.ReadUntil("watching"), HasSubstr("nats://***@" + host));
    const std::string error = served.ReadUntil("credentials");
    EXPECT_THAT(error, HasSubstr("nats://" + host));
    const Outcome run = served.End();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(error + run.err, Not(HasSubstr("s3cret")));
}

}  // namespace
}  // namespace velmora::tool
