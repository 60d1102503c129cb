// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The sources of the service.

#include "serve/served.h"
#include "storage/history.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <spawn.h>
#include <sys/stat.h>

namespace velmora::tool {
namespace {

using testing::HasSubstr;

// Logs each sample.
constexpr const char* logAll = "[rule.all]\nrule = 'pushed()'\n";
constexpr const char* history = "[history]\nfile = plant.db\ncommit-every = 10ms\n";

void Append(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::app) << text;
}

std::uint64_t CountRows(const Folder& folder, const std::string& path) {
    const storage::History stored(folder.PathOf("plant.db"));
    stored.CheckIntegrity();
    std::uint64_t rows = 0;
    for (const storage::HistoryStream& stream : stored.GetStreams()) {
        for (const storage::HistoryLayout& layout : stream.layouts) {
            rows += stream.path == path ? layout.rowCount : 0;
        }
    }
    return rows;
}

TEST(ServeSources, FollowAFileThatComesLateAndIsRotated) {
    const Folder folder;
    const std::string file = folder.PathOf("store.csv");
    Served served(folder, "[page]\nlisten = none\n[source.store]\nfrom = '" + file +
                              "'\nretry = 50ms\n" + history + logAll);
    served.ReadUntil("source 'store': cannot open");
    folder.Write("store.csv", "time,t\n2026-01-01T00:00:01Z,1.5\n");
    EXPECT_THAT(served.ReadUntil("t=1.5"), HasSubstr("2026-01-01T00:00:01Z store [all] t=1.5"));
    Append(file, "2026-01-01T00:00:02Z,2.5\n");
    served.ReadUntil("t=2.5");
    std::rename(file.c_str(), folder.PathOf("store.csv.1").c_str());
    folder.Write("next", "time,t\nbad,row\n2026-01-01T00:00:03Z,3.5\n");
    std::rename(folder.PathOf("next").c_str(), file.c_str());
    EXPECT_THAT(served.ReadUntil("warning"), HasSubstr("store.csv:6:1 (time): 'bad'"));
    served.ReadUntil("t=3.5");
    EXPECT_EQ(served.End().status, 0);
    EXPECT_EQ(CountRows(folder, "store"), 3U);
}

TEST(ServeSources, ReadAFifoBeyondItsWriters) {
    const Folder folder;
    const std::string fifo = folder.PathOf("lines");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    Served served(folder, "[page]\nlisten = none\n[source.lines]\nfrom = '" + fifo +
                              "'\nstream = plant/line1\n[stream.line1]\npath = plant/line1\n"
                              "entries = [x:Double]\n" +
                              logAll);
    std::ofstream(fifo) << R"({"time":"2026-01-01T00:00:01Z","x":1})" << std::endl;
    EXPECT_THAT(served.ReadUntil("x="), HasSubstr("plant/line1 [all] x=1"));
    std::ofstream(fifo) << "{broken\n" << std::flush;
    EXPECT_THAT(served.ReadUntil("warning"), HasSubstr("lines:2"));
    std::ofstream(fifo) << R"({"time":"2026-01-01T00:00:02Z","x":2.5})" << std::endl;
    served.ReadUntil("x=2.5");
    EXPECT_EQ(served.End().status, 0);
}

TEST(ServeSources, LeaveOutWhatAFileHadAndWhatAStreamLacks) {
    const Folder folder;
    const std::string file =
        folder.Write("store.csv", "time,t,u\n2026-01-01T00:00:01Z,1,a\n2026-01-01T00:00:02Z,2,b\n");
    Served served(folder, "[page]\nlisten = none\n[source.store]\nfrom = '" + file +
                              "'\nonly-new = true\n[stream.store]\npath = store\n"
                              "entries = ['t:Double', 'w:Int8']\n" +
                              logAll);
    EXPECT_THAT(served.ReadUntil("left out"), HasSubstr("2 rows left out"));
    Append(file, "2026-01-01T00:00:03Z,3,c\n");
    EXPECT_THAT(served.ReadUntil("warning"), HasSubstr("does not have u:String"));
    EXPECT_THAT(served.ReadUntil("[all]"), HasSubstr("00:03Z store [all] t=3 w="));
    EXPECT_EQ(served.End().status, 0);
}

TEST(ServeSources, ReplayARecordingAsIfItWereLive) {
    const Folder folder;
    const std::string file =
        folder.Write("run.csv", "time,n\n2020-01-01T00:00:00Z,1\n2020-01-01T00:10:00Z,2\n");
    Served served(folder, "[page]\nlisten = none\n[source.run]\nfrom = '" + file +
                              "'\nreplay = true\nspeed = 100000\nloop = true\n" + logAll);
    // Two rounds: the second continues in time.
    std::string before;
    for (const char* const value : {"n=1", "n=2", "n=1", "n=2"}) {
        std::string line = served.ReadUntil("[all]");
        EXPECT_THAT(line, HasSubstr(value));
        EXPECT_LT(before, line.substr(0, line.find(" run ")));
        EXPECT_THAT(line, testing::Not(HasSubstr("2020-")));
        before = line.substr(0, line.find(" run "));
    }
    EXPECT_EQ(served.End().status, 0);
}

// A listening socket as systemd hands it over: as descriptor 3, with the receiver's id.
pid_t LaunchWithSocket(int listener, int errors, const std::string& config) {
    posix_spawn_file_actions_t files{};
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, errors, STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&files, listener, 3);
    std::string script = "LISTEN_PID=$$ LISTEN_FDS=1 LISTEN_FDNAMES=lines exec '" +
                         std::string(TESSARYN_PROGRAM) + "' serve --config '" + config + "'";
    std::string shell = "sh";
    std::string option = "-c";
    char* arguments[] = {shell.data(), option.data(), script.data(), nullptr};
    pid_t child = -1;
    posix_spawn(&child, "/bin/sh", &files, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&files);
    return child;
}

int OpenSocket(const std::string& path, bool listens) {
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const auto* const name = reinterpret_cast<const sockaddr*>(&address);
    const int failed = listens ? bind(descriptor, name, sizeof(address)) + listen(descriptor, 8)
                               : connect(descriptor, name, sizeof(address));
    EXPECT_EQ(failed, 0);
    return descriptor;
}

void Send(int descriptor, const std::string& text) {
    EXPECT_EQ(write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

TEST(ServeSources, ReadConnectionsOfASocketThatTheyAreGiven) {
    const Folder folder;
    const int listener = OpenSocket(folder.PathOf("socket"), true);
    int errors[2];
    ASSERT_EQ(pipe(errors), 0);
    const pid_t child =
        LaunchWithSocket(listener, errors[1],
                         folder.Write("p", std::string("[page]\nlisten = none\n[source.lines]\n"
                                                       "from = 'socket:lines'\n") +
                                               logAll));
    close(errors[1]);
    FILE* const log = fdopen(errors[0], "r");
    char* line = nullptr;
    std::size_t size = 0;
    const auto readUntil = [&](const char* text) {
        while (getline(&line, &size, log) > 0) {
            if (std::strstr(line, text) != nullptr) {
                return std::string(line);
            }
        }
        return std::string();
    };
    // Two at a time, of which one fails; nothing of the other is lost.
    const int one = OpenSocket(folder.PathOf("socket"), false);
    Send(one, "{\"time\":\"2026-01-01T00:00:01Z\",\"x\":1}\n");
    EXPECT_NE(readUntil("x=1"), "");
    const int two = OpenSocket(folder.PathOf("socket"), false);
    Send(two, "[1, 2]\n");
    EXPECT_NE(readUntil("JSON array"), "");
    Send(one, "{\"time\":\"2026-01-01T00:00:02Z\",\"x\":2}\n");
    EXPECT_NE(readUntil("x=2"), "");
    kill(child, SIGTERM);
    EXPECT_NE(readUntil("ended after 2 samples"), "");
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    free(line);
    fclose(log);
    for (const int descriptor : {listener, one, two}) {
        close(descriptor);
    }
}

TEST(ServeSources, NameASocketThatNobodyGave) {
    const Folder folder;
    ExpectFailure("serve --config " +
                      folder.Write("p", "[page]\nlisten = none\n[source.a]\nfrom = 'socket:b'\n"),
                  "source 'a': systemd has handed over no descriptor of the name 'b'");
}

}  // namespace
}  // namespace velmora::tool
