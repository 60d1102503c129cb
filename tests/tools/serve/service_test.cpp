// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The service from its start to its end, however that comes.

#include "serve/served.h"
#include "storage/document.h"
#include "storage/history.h"
#include "storage/history_exception.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/URI.h>

#include <fstream>
#include <set>
#include <sys/stat.h>
#include <thread>

namespace velmora::tool {
namespace {

using testing::HasSubstr;

// Rows a second apart.
std::string Row(int n) {
    std::ostringstream row;
    row << "2026-01-01T" << std::setfill('0') << std::setw(2) << n / 3600 << ":" << std::setw(2)
        << n / 60 % 60 << ":" << std::setw(2) << n % 60 << "Z," << n << "\n";
    return row.str();
}

std::string SourceOf(const std::string& path) {
    return "[page]\nlisten = none\n[source.plant]\nfrom = '" + path + "'\ntime = time\n";
}

TEST(Serve, EndsInOrderAtSigterm) {
    const Folder folder;
    const std::string file = folder.Write("rows.csv", "time,n\n" + Row(1) + Row(2) + Row(3));
    setenv("WATCHDOG_USEC", "2000000", 1);
    Served served(folder, SourceOf(file) +
                              "[history]\nfile = plant.db\n[checkpoint]\nfile = plant.json\n"
                              "[rule.third]\nrule = 'n == 3'\n");
    unsetenv("WATCHDOG_USEC");
    served.GetNotify().WaitFor("WATCHDOG=1");
    served.ReadUntil("n=3");
    served.Send(SIGTERM);
    served.GetNotify().WaitFor("STOPPING=1");
    const Outcome outcome = served.Get().Wait();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("ended after 3 samples, 3 of them written to the history"));
    EXPECT_EQ(storage::History(folder.PathOf("plant.db")).GetStreams().at(0).layouts.at(0).rowCount,
              3U);
    const core::tessaryn::Document saved = storage::LoadDocument(folder.PathOf("plant.json"));
    EXPECT_EQ(saved.streams->GetStream("rows").GetNumSamples(), 3);
}

// What the page answers to a request.
std::string Ask(const std::string& url, const std::string& path, const std::string& token) {
    const Poco::URI uri(url);
    Poco::Net::HTTPClientSession session(uri.getHost(), uri.getPort());
    Poco::Net::HTTPRequest request("GET", path);
    request.set("Authorization", "Bearer " + token);
    session.sendRequest(request);
    Poco::Net::HTTPResponse answer;
    std::string body;
    Poco::StreamCopier::copyToString(session.receiveResponse(answer), body);
    return std::to_string(answer.getStatus()) + " " + body;
}

TEST(Serve, ShowsWhatItWatches) {
    const Folder folder;
    const std::string token = "0123456789abcdef";
    chmod(folder.Write("token", token + "\n").c_str(), 0600);
    const std::string file = folder.Write("rows.csv", "time,n [bar]\n" + Row(1) + Row(2));
    const std::string config = "title = 'Cold store'\n[source.plant]\nfrom = '" + file +
                               "'\n[page]\nlisten = 127.0.0.1:0\nmetrics = ['rows:n']\n"
                               "token-file = '" +
                               folder.PathOf("token") +
                               "'\n[history]\nfile = plant.db\n"
                               "[rule.second]\nrule = 'n == 2'\n";
    Served served(folder, config);
    const std::string line = served.ReadUntil("watching");
    const std::string url = line.substr(line.find("http://"));
    served.ReadUntil("n=2");
    EXPECT_THAT(Ask(url, "/api/about", "guess"), testing::StartsWith("401 "));
    const std::string about = Ask(url, "/api/about", token);
    EXPECT_THAT(about, testing::AllOf(testing::StartsWith("200 "), HasSubstr("Cold store"),
                                      HasSubstr("\"history\":true"), HasSubstr("n == 2")));
    EXPECT_THAT(Ask(url, "/api/stream?path=rows", token), HasSubstr("\"unit\":\"bar\""));
    EXPECT_THAT(Ask(url, "/metrics", token), HasSubstr("\ntessaryn_source_rows_total 2\n"));
    folder.Write("plant.toml", config + "[rule.first]\nrule = 'n == 1'\n");
    served.Send(SIGHUP);
    served.ReadUntil("read 2 rules again");
    EXPECT_THAT(Ask(url, "/api/about", token), HasSubstr("n == 1"));
    EXPECT_EQ(served.End().status, 0);
}

TEST(Serve, SeesEachSampleOnceWhileRulesAreRead) {
    constexpr int turns = 30;
    constexpr int samplesOfTurn = 200;
    const Folder folder;
    const std::string fifo = folder.PathOf("lines");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const auto config = [&](int turn) {
        // Another rule each time, that is true for each sample.
        return SourceOf(fifo) + "[rule.all]\nrule = 'n >= " + std::to_string(-turn) + "'\n";
    };
    Served served(folder, config(0));
    std::ofstream out(fifo);
    std::multiset<std::string> seen;
    int n = 0;
    for (int turn = 1; turn <= turns; ++turn) {
        folder.Write("plant.toml", config(turn));
        served.Send(SIGHUP);
        // The rules change while samples come.
        served.GetNotify().WaitFor("RELOADING=1");
        for (int i = 0; i < samplesOfTurn; ++i, ++n) {
            out << R"({"time":)" << 1'700'000'000 + n << R"(,"n":)" << n << "}" << std::endl;
        }
        for (int i = 0; i < samplesOfTurn; ++i) {
            const std::string line = served.ReadUntil("[all]");
            seen.insert(line.substr(line.find(" n=")));
        }
    }
    for (int i = 0; i < n; ++i) {
        ASSERT_EQ(seen.count(" n=" + std::to_string(i)), 1U) << i;
    }
    const Outcome outcome = served.End();
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("[all]")));
    EXPECT_EQ(outcome.status, 0);
}

TEST(Serve, KeepsItsRulesWhereTheFileIsWrong) {
    const Folder folder;
    const std::string fifo = folder.PathOf("lines");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string good = SourceOf(fifo) + "[rule.high]\nrule = 'n > 5'\n";
    Served served(folder, good);
    std::ofstream out(fifo);
    out << R"({"time":1700000000,"n":6})" << std::endl;
    served.ReadUntil("[high] n=6");
    folder.Write("plant.toml", SourceOf(fifo) + "[rule.high]\nrule = 'n >'\non = never\n");
    served.Send(SIGHUP);
    served.GetNotify().WaitFor("RELOADING=1");
    EXPECT_THAT(served.ReadUntil("the rules stay"), HasSubstr("plant.toml:7: rule 'n >'"));
    EXPECT_THAT(served.ReadUntil("plant.toml:8"), HasSubstr("'never'"));
    served.GetNotify().WaitFor("READY=1");
    out << R"({"time":1700000001,"n":7})" << std::endl;
    served.ReadUntil("[high] n=7");
    folder.Write("plant.toml", good + "on = begin\n[stream.a]\npath = a\n");
    served.Send(SIGHUP);
    served.ReadUntil("other parts than rules");
    served.ReadUntil("read 1 rule again");
    EXPECT_EQ(served.End().status, 0);
}

// Samples of the only stream that are committed; 0 where there is none yet.
std::uint64_t CountCommitted(const Folder& folder) {
    try {
        const storage::History stored(folder.PathOf("plant.db"));
        const auto streams = stored.GetStreams();
        return streams.empty() ? 0 : streams[0].layouts.at(0).rowCount;
    } catch (const storage::HistoryException&) {
        return 0;
    }
}

TEST(Serve, HasTheWholeHistoryAfterItWasKilled) {
    constexpr int parts = 4;
    constexpr int rowsOfPart = 5000;
    const Folder folder;
    const std::string file = folder.Write("rows.csv", "time,n\n");
    const std::string config =
        SourceOf(file) +
        "[history]\nfile = plant.db\ncommit-every = 1ms\n[checkpoint]\nfile = plant.json\n"
        "every = 20ms\n";
    for (int part = 0; part < parts; ++part) {
        std::ofstream out(file, std::ios::app);
        for (int n = part * rowsOfPart; n < (part + 1) * rowsOfPart; ++n) {
            out << Row(n);
        }
        out.close();
        const std::uint64_t before = CountCommitted(folder);
        Served served(folder, config);
        // It is killed as soon as some of the part is committed.
        for (int tries = 0; tries < 100'000 && CountCommitted(folder) <= before; ++tries) {
            std::this_thread::yield();
        }
        served.Send(SIGKILL);
        served.Get().Wait();
        EXPECT_GT(CountCommitted(folder), before);
        storage::History(folder.PathOf("plant.db")).CheckIntegrity();
    }
    constexpr int count = parts * rowsOfPart;
    std::ofstream(file, std::ios::app) << Row(count);
    Served served(folder, config + "[rule.last]\nrule = 'n == " + std::to_string(count) + "'\n");
    served.ReadUntil("[last]");
    EXPECT_EQ(served.End().status, 0);
    storage::History(folder.PathOf("plant.db")).CheckIntegrity();
    EXPECT_EQ(CountCommitted(folder), static_cast<std::uint64_t>(count) + 1);
}

TEST(Serve, ContinuesWithoutEventsOfWhatItHadSeen) {
    const Folder folder;
    const std::string file = folder.Write("rows.csv", "time,n\n" + Row(1) + Row(2));
    const std::string config = SourceOf(file) +
                               "[history]\nfile = plant.db\n"
                               "[rule.all]\nrule = 'pushed()'\n";
    {
        Served served(folder, config);
        served.ReadUntil("n=2");
        EXPECT_EQ(served.End().status, 0);
    }
    std::ofstream(file, std::ios::app) << Row(3);
    Served served(folder, config + "[checkpoint]\nfile = plant.json\n");
    EXPECT_THAT(served.ReadUntil("[all]"), HasSubstr("n=3"));
    EXPECT_EQ(served.End().status, 0);
    // What the stream held before comes from the history.
    const core::tessaryn::Document saved = storage::LoadDocument(folder.PathOf("plant.json"));
    EXPECT_EQ(saved.streams->GetStream("rows").GetNumSamples(), 3);
}

TEST(Serve, PutsABadCheckpointAside) {
    const Folder folder;
    const std::string file = folder.Write("rows.csv", "time,n\n" + Row(1));
    folder.Write("plant.json", "{\"Tree\": {");
    Served served(folder, SourceOf(file) +
                              "[checkpoint]\nfile = plant.json\n"
                              "[rule.all]\nrule = 'pushed()'\n");
    EXPECT_THAT(served.ReadUntil("error"), HasSubstr("the file becomes"));
    served.ReadUntil("n=1");
    EXPECT_EQ(served.End().status, 0);
    EXPECT_EQ(folder.Read("plant.json.bad"), "{\"Tree\": {");
    EXPECT_EQ(storage::LoadDocument(folder.PathOf("plant.json"))
                  .streams->GetStream("rows")
                  .GetNumSamples(),
              1);
}

}  // namespace
}  // namespace velmora::tool
