// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What the service does on events.

#include "serve/served.h"

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>

#include <fstream>
#include <sys/stat.h>

namespace velmora::tool {
namespace {

using testing::HasSubstr;

class Reactions : public testing::Test {
  protected:
    Reactions() { EXPECT_EQ(mkfifo(fifo.c_str(), 0600), 0); }

    std::string Config(const std::string& rest) const {
        return "[page]\nlisten = none\n[source.plant]\nfrom = '" + fifo + "'\ntime = time\n" + rest;
    }

    // Each line has the value x; its time is the number of the line.
    void Write(std::initializer_list<double> values) {
        std::ofstream out(fifo);
        for (const double value : values) {
            out << R"({"time":)" << 1'700'000'000 + lines++ << R"(,"x":)" << value << "}\n";
        }
    }

    Folder folder;
    std::string fifo = folder.PathOf("lines");
    int lines = 0;
};

TEST_F(Reactions, FollowConditions) {
    struct Case {
        const char* keys;
        std::vector<std::string> events;
    };
    // At 1 s each: 0 5 6 7 1 8.5.
    const Case cases[] = {
        {"", {"x=5", "x=6", "x=7", "x=8.5"}},   {"on = begin\n", {"x=5", "x=8.5"}},
        {"on = end\n", {"x=1", "x=-1"}},        {"hold = 2s\n", {"x=7"}},
        {"deadband = x:1.5\n", {"x=5", "x=7"}}, {"on-change = x\non = begin\n", {"x=5", "x=8.5"}},
    };
    std::string config =
        "[stream.lines]\npath = lines\nentries = ['x:Double']\n"
        "[rule.end]\nrule = 'x == -1'\n";
    int number = 0;
    for (const Case& each : cases) {
        config += "[rule.r" + std::to_string(number++) + "]\nrule = 'x > 2'\n" + each.keys;
    }
    Served served(folder, Config(config));
    Write({0, 5, 6, 7, 1, 8.5, -1});
    std::map<std::string, std::vector<std::string>> seen;
    // The log has a line of each event; different rules come in any order.
    std::size_t left = 14;
    while (left > 0) {
        const std::string line = served.ReadUntil("lines [");
        const std::size_t begin = line.find('[') + 1;
        const std::string rule = line.substr(begin, line.find(']') - begin);
        seen[rule].push_back(line.substr(line.find(" x=") + 1));
        --left;
    }
    const Outcome outcome = served.End();
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr(" [r")));
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(seen["r" + std::to_string(i)], cases[i].events) << cases[i].keys;
    }
}

TEST_F(Reactions, RunAProgramWithTheEvent) {
    Served served(folder, Config("[rule.high]\nrule = 'x > 2'\ndo = [show]\n[command.show]\nrun = "
                                 "['/bin/sh', '-c', 'echo \"$0|$TESSARYN_RULE|$TESSARYN_STREAM|"
                                 "$TESSARYN_TIME|$TESSARYN_VALUE_x|${NOTIFY_SOCKET-none}\"; cat', "
                                 "'a b $HOME;']\n"));
    Write({5});
    EXPECT_EQ(served.ReadUntil("|"), "a b $HOME;|high|lines|2023-11-14T22:13:20Z|5|none");
    EXPECT_EQ(served.ReadUntil("{"),
              R"({"time":"2023-11-14T22:13:20Z","stream":"lines","rule":"high",)"
              R"("entries":{"x":5}})");
    EXPECT_EQ(served.End().status, 0);
}

TEST_F(Reactions, BoundProgramsInNumberAndTime) {
    Served served(folder,
                  Config("[rule.high]\nrule = 'x > 2'\ndo = [hang, fail]\n"
                         "[command.hang]\nrun = ['/bin/sh', '-c', 'sleep 1000']\ntimeout = 100ms\n"
                         "max-waiting = 2\n[command.fail]\nrun = ['/bin/sh', '-c', 'exit 3']\n"));
    Write({5, 6, 7, 8, 9, 10});
    std::string log;
    for (const char* const message :
         {"the program was ended after 100ms", "one of rule 'high' was dropped",
          "command 'fail': the program ended with status 3"}) {
        while (log.find(message) == std::string::npos) {
            log += served.ReadUntil("warning") + "\n";
            ASSERT_FALSE(log.ends_with("\n\n"));
        }
    }
    EXPECT_EQ(served.End().status, 0);
}

TEST_F(Reactions, GiveUpWhatOutlastsTheService) {
    Served served(folder, "stop-timeout = 200ms\n" +
                              Config("[rule.high]\nrule = 'x > 2'\ndo = [log, hang]\n"
                                     "[command.hang]\nrun = ['/bin/sleep', '1000']\n"));
    Write({5, 6});
    served.ReadUntil("x=6");
    const Outcome outcome = served.End();
    EXPECT_THAT(outcome.err, HasSubstr("command 'hang' gave up 2 events at the end"));
    EXPECT_EQ(outcome.status, 0);
}

// Answers one request.
std::string Answer(Poco::Net::ServerSocket& server, const std::string& status) {
    Poco::Net::StreamSocket connection = server.acceptConnection();
    std::string request;
    char block[1024];
    while (!request.ends_with("}")) {
        const int size = connection.receiveBytes(block, sizeof(block));
        if (size <= 0) {
            break;
        }
        request.append(block, static_cast<std::size_t>(size));
    }
    const std::string answer = "HTTP/1.1 " + status + "\r\nContent-Length: 0\r\n\r\n";
    connection.sendBytes(answer.data(), static_cast<int>(answer.size()));
    return request;
}

TEST_F(Reactions, PostEventsUntilTheyAreTaken) {
    Poco::Net::ServerSocket server(Poco::Net::SocketAddress("127.0.0.1", 0), 8);
    Served served(folder, Config("[rule.high]\nrule = 'x > 2'\ndo = [ops]\n[webhook.ops]\nurl = "
                                 "'http://" +
                                 server.address().toString() + "/alarm?a=1'\n"));
    Write({5, 6, 7});
    const std::string first = Answer(server, "503 Busy");
    EXPECT_THAT(first, testing::StartsWith("POST /alarm?a=1 HTTP/1.1\r\n"));
    EXPECT_THAT(first, HasSubstr("Content-Type: application/json\r\n"));
    EXPECT_THAT(
        first, testing::EndsWith(R"({"time":"2023-11-14T22:13:20Z","stream":"lines","rule":"high",)"
                                 R"("entries":{"x":5}})"));
    EXPECT_THAT(Answer(server, "204 Good"), HasSubstr(R"("x":5)"));
    EXPECT_THAT(Answer(server, "404 Gone"), HasSubstr(R"("x":6)"));
    EXPECT_THAT(served.ReadUntil("warning"), HasSubstr("webhook 'ops': http://"));
    EXPECT_THAT(Answer(server, "200 Good"), HasSubstr(R"("x":7)"));
    EXPECT_EQ(served.End().status, 0);
}

TEST_F(Reactions, EndRequestsThatAreNotAnswered) {
    Poco::Net::ServerSocket server(Poco::Net::SocketAddress("127.0.0.1", 0), 8);
    Served served(folder, Config("[rule.high]\nrule = 'x > 2'\ndo = [ops]\n[webhook.ops]\nurl = "
                                 "'http://" +
                                 server.address().toString() +
                                 "/'\ntries = 1\n"
                                 "timeout = 300ms\n"));
    Write({5});
    Poco::Net::StreamSocket silent = server.acceptConnection();
    EXPECT_THAT(served.ReadUntil("warning"), HasSubstr("Timeout"));
    EXPECT_EQ(served.End().status, 0);
}

}  // namespace
}  // namespace velmora::tool
