// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The state of a history after its writer was killed, or could not write.

#include "storage/history.h"
#include "storage/history_reader.h"
#include "storage/history_support.h"
#include "support/random.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velmora::test {
namespace {

using storage::History;
using storage::HistoryMode;
using storage::HistoryReader;
using testing::ElementsAre;
using Reason = HistoryException::Reason;

int NewestNumber(const std::string& file) {
    const History history(file);
    HistoryReader reader(history, {.newest = 1});
    return reader.Next() ? reader.GetSample().GetInt32(0, 0) : 0;
}

// The host that is killed: continues with the number behind the newest in the file, without end,
// and reports each number that it knows to be in the file.
[[noreturn]] void WriteForever(const std::string& file, int reports) {
    TestType type{{"n", core::tessaryn::Int32, 1}, {"s", core::tessaryn::String, 0}};
    int number = 0;
    {
        HistoryWriter(file).Close();
        number = NewestNumber(file);
    }
    HistoryWriter writer(file,
                         {.maxBatch = 40, .interval = 1ms, .retention = {.maxRows = 100'000}});
    while (true) {
        ++number;
        writer.Write("s", Number(type, number, number));
        if (number % 7 == 0) {
            writer.Flush();
            if (write(reports, &number, sizeof number) != sizeof number) {
                _exit(1);
            }
        }
    }
}

// Kills a writer after a number of reports.
// \return the last number that was reported
int KillWriter(const std::string& file, unsigned reportCount) {
    int ends[2];
    if (pipe(ends) != 0) {
        throw std::runtime_error("no pipe");
    }
    const pid_t writer = fork();
    if (writer == 0) {
        close(ends[0]);
        WriteForever(file, ends[1]);
    }
    close(ends[1]);
    int reported = 0;
    for (unsigned i = 0; i < reportCount; ++i) {
        if (read(ends[0], &reported, sizeof reported) != sizeof reported) {
            break;
        }
    }
    kill(writer, SIGKILL);
    int status = 0;
    waitpid(writer, &status, 0);
    // Numbers that were reported before the end, but not read yet, are in the file as well.
    for (int late = 0; read(ends[0], &late, sizeof late) == sizeof late;) {
        reported = late;
    }
    close(ends[0]);
    EXPECT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself";
    return reported;
}

// `VELMORA_KILLS` sets the number of kills.
TEST(HistoryWriter, KeepsCommittedSamplesWhenKilledAndContinues) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    const char* const wanted = std::getenv("VELMORA_KILLS");
    const int kills = wanted == nullptr ? 8 : std::atoi(wanted);
    Random random;
    for (int i = 0; i < kills; ++i) {
        const int reported = KillWriter(file, random.Below(60));
        History(file, HistoryMode::write).CheckIntegrity();
        ASSERT_GE(NewestNumber(file), reported) << "a committed row is lost";
        const std::string newest = std::to_string(NewestNumber(file));
        ASSERT_THAT(Query(file, "SELECT count(*), count(DISTINCT n), max(n) FROM s"),
                    ElementsAre(newest + "|" + newest + "|" + newest));
    }
}

// While it exists, no file can be extended by this process.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) : formerAction(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &former);
        const rlimit limit{bytes, former.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &former);
        std::signal(SIGXFSZ, formerAction);
    }

  private:
    void (*formerAction)(int);
    rlimit former{};
};

TEST(HistoryWriter, KeepsItsQueueWhileTheDiskIsFull) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"n", core::tessaryn::Int32, 1}};
    HistoryWriter writer(file, {.maxBatch = 1000, .interval = 1h, .retryInterval = 1h});
    auto limit = std::make_unique<FileSizeLimit>(200'000);
    int number = 0;
    const auto fill = [&] {
        while (number < 50'000) {
            writer.Write("s", Number(type, number, number));
            ++number;
            if (number % 1000 == 0) {
                writer.Flush();
            }
        }
    };
    EXPECT_EQ(ReasonOf(fill), Reason::full) << writer.GetStatistics().lastError;
    const std::uint64_t written = writer.GetStatistics().written;
    EXPECT_EQ(written + writer.GetStatistics().waiting, static_cast<std::uint64_t>(number));
    EXPECT_EQ(ReasonOf([&] { writer.Flush(); }), Reason::full);
    EXPECT_THAT(Query(file, "SELECT count(*) FROM s"), ElementsAre(std::to_string(written)));
    limit.reset();
    writer.Close();
    History(file).CheckIntegrity();
    const std::string all = std::to_string(number);
    EXPECT_THAT(Query(file, "SELECT count(*), count(DISTINCT n) FROM s"),
                ElementsAre(all + "|" + all));
}

TEST(History, IsReadInAFolderThatMayNotBeWritten) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const Folder folder;
    const std::string file = folder.PathOf("a ?#%.db");
    TestType type{{"n", core::tessaryn::Int32, 1}};
    HistoryWriter(file).Write("s", Number(type, 7, 7));
    ASSERT_EQ(chmod(folder.GetPath().c_str(), 0755), 0);
    ASSERT_EQ(seteuid(65534), 0);
    const int newest = NewestNumber(file);
    const Reason toWrite = ReasonOf([&] { HistoryWriter writer(file); });
    const Reason toCreate = ReasonOf([&] { HistoryWriter writer(folder.PathOf("b.db")); });
    ASSERT_EQ(seteuid(0), 0);
    EXPECT_EQ(newest, 7);
    EXPECT_EQ(toWrite, Reason::readOnly);
    EXPECT_EQ(toCreate, Reason::notFound);
    EXPECT_THAT(folder.List(), ElementsAre("a ?#%.db"));
}

}  // namespace
}  // namespace velmora::test
