// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// nats_chaos [SAMPLES [KILLS [SERVERS [SEED]]]]: sends samples from a publisher's process to two
// followers' processes, and kills and restarts servers, publisher and followers at random moments;
// of several servers, the leader of the stream. Fails unless both followers have every sample once,
// in order and with its time, and server and publisher count the same number.

#include "nats/chaos/peers.h"
#include "nats/cluster.h"
#include "nats/nats_objects.h"
#include "support/folder.h"

#include <Poco/ConsoleChannel.h>
#include <Poco/Logger.h>
#include <Poco/Process.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <nats/nats.h>
#include <optional>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using ConsumerInfo = std::unique_ptr<jsConsumerInfo, nats::Destroyer<jsConsumerInfo_Destroy>>;
using StreamInfo = std::unique_ptr<jsStreamInfo, nats::Destroyer<jsStreamInfo_Destroy>>;

struct Plan {
    std::int64_t samples = 20000;
    int kills = 4;
    std::size_t servers = 1;
    std::mt19937::result_type seed = std::random_device()();
};

// A process of this program in another role.
class Peer {
  public:
    explicit Peer(Poco::Process::Args arguments) : arguments(std::move(arguments)) { Start(); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() { Kill(); }

    void Start() { process.emplace(Poco::Process::launch("/proc/self/exe", arguments)); }
    void Kill() {
        if (process && !status) {
            kill(process->id(), SIGKILL);
            process->wait();
        }
        process.reset();
    }
    bool HasEnded() {
        if (!status) {
            const int code = process->tryWait();
            if (code >= 0) {
                status = code;
            }
        }
        return status.has_value();
    }
    int GetStatus() const { return *status; }

  private:
    Poco::Process::Args arguments;
    std::optional<Poco::ProcessHandle> process;
    std::optional<int> status;
};

// The state of the JetStream stream, as the servers report it.
class Observer {
  public:
    explicit Observer(const std::string& urls) {
        natsConnection* made = nullptr;
        jsCtx* context = nullptr;
        nats::Check(natsConnection_ConnectTo(&made, urls.c_str()), "connect");
        connection.reset(made);
        nats::Check(natsConnection_JetStream(&context, made, nullptr), "use JetStream");
        jetStream.reset(context);
    }

    // Null when no server answers.
    StreamInfo GetInfo(const char* subjects = nullptr) const {
        jsStreamInfo* info = nullptr;
        jsOptions options;
        jsOptions_Init(&options);
        options.Stream.Info.SubjectsFilter = subjects;
        js_GetStreamInfo(&info, jetStream.get(), "velmora", &options, nullptr);
        return StreamInfo(info);
    }

    // The index of the leader of a stream whose replicas are all up to date.
    std::optional<std::size_t> FindLeader() const {
        const StreamInfo info = GetInfo();
        if (info == nullptr || info->Cluster == nullptr || info->Cluster->Leader == nullptr) {
            return std::nullopt;
        }
        for (int i = 0; i < info->Cluster->ReplicasLen; ++i) {
            if (!info->Cluster->Replicas[i]->Current || info->Cluster->Replicas[i]->Offline) {
                return std::nullopt;
            }
        }
        return static_cast<std::size_t>(info->Cluster->Leader[1] - '0');
    }

    // The servers' reports about the stream and the followers.
    std::string Describe() const {
        std::ostringstream out;
        if (const StreamInfo info = GetInfo()) {
            out << "stream: " << info->State.Msgs << " messages, last " << info->State.LastSeq;
        }
        for (const char* const name : {"first", "second"}) {
            jsConsumerInfo* made = nullptr;
            js_GetConsumerInfo(&made, jetStream.get(), "velmora", name, nullptr, nullptr);
            const ConsumerInfo info(made);
            if (info != nullptr) {
                out << "\nfollower " << name << ": delivered up to " << info->Delivered.Stream
                    << " (" << info->Delivered.Consumer << "), acknowledged up to "
                    << info->AckFloor.Stream << ", not acknowledged " << info->NumAckPending
                    << ", delivered again " << info->NumRedelivered << ", requests "
                    << info->NumWaiting << ", not delivered " << info->NumPending;
            }
        }
        return out.str();
    }

  private:
    std::unique_ptr<natsConnection, nats::Destroyer<natsConnection_Destroy>> connection;
    nats::Context jetStream;
};

std::int64_t CountSamples(const jsStreamInfo& info) {
    std::uint64_t count = 0;
    const jsStreamStateSubjects* const subjects = info.State.Subjects;
    for (int i = 0; subjects != nullptr && i < subjects->Count; ++i) {
        count += subjects->List[i].Msgs;
    }
    return static_cast<std::int64_t>(count);
}

class Chaos {
  public:
    explicit Chaos(const Plan& plan)
        : plan(plan),
          random(plan.seed),
          cluster(plan.servers),
          publisher({"publish", cluster.GetUrls(), std::to_string(plan.samples),
                     std::to_string(plan.servers), report}),
          followers{
              Peer({"follow", cluster.GetUrls(), std::to_string(plan.samples), "first", files[0]}),
              Peer({"follow", cluster.GetUrls(), std::to_string(plan.samples), "second",
                    files[1]})} {}

    // Checks the result.
    bool Run() {
        for (const std::int64_t moment : ChooseMoments()) {
            while (GetProgress() < moment) {
                Sleep();
            }
            KillOne();
        }
        while (!publisher.HasEnded() || !followers[0].HasEnded() || !followers[1].HasEnded()) {
            Sleep();
        }
        return Verify();
    }

  private:
    // Records in both files when something is killed, ascending.
    std::vector<std::int64_t> ChooseMoments() {
        std::uniform_int_distribution<std::int64_t> choose(1, plan.samples * 19 / 10);
        std::vector<std::int64_t> moments(static_cast<std::size_t>(plan.kills));
        std::generate(moments.begin(), moments.end(), [&] { return choose(random); });
        std::sort(moments.begin(), moments.end());
        return moments;
    }

    std::int64_t GetProgress() const {
        std::uintmax_t bytes = 0;
        for (const std::string& file : files) {
            std::error_code ignored;
            const auto size = std::filesystem::file_size(file, ignored);
            bytes += ignored ? 0 : size;
        }
        return static_cast<std::int64_t>(bytes / sizeof(Record));
    }

    void Sleep() const {
        if (Clock::now() > deadline) {
            std::cout << Observer(cluster.GetUrls()).Describe() << std::endl;
            for (const std::string& file : files) {
                const std::vector<Record> records = ReadRecords(file);
                std::cout << file << ": " << records.size() << " records; in the tanks";
                for (std::uint32_t tank = 0; tank < numTanks; ++tank) {
                    std::cout << ' '
                              << std::count_if(records.begin(), records.end(),
                                               [&](auto& record) { return record.tank == tank; });
                }
                std::cout << std::endl;
            }
            throw std::runtime_error("nothing has moved on for too long");
        }
        std::this_thread::sleep_for(1ms);
    }

    // Servers, publisher and followers in turn.
    void KillOne() {
        deadline = Clock::now() + maxPause;
        const int turn = kills++ % 3;
        std::uniform_int_distribution<int> milliseconds(0, 300);
        const std::chrono::milliseconds pause(milliseconds(random));
        if (turn == 0) {
            KillServer(pause);
            return;
        }
        Peer& peer = turn == 1 ? publisher : followers[random() % 2];
        if (peer.HasEnded()) {
            KillServer(pause);
            return;
        }
        Log(turn == 1 ? "publisher" : "follower");
        peer.Kill();
        std::this_thread::sleep_for(pause);
        peer.Start();
        ++(turn == 1 ? publisherKills : followerKills);
    }

    void KillServer(std::chrono::milliseconds pause) {
        std::size_t index = 0;
        if (plan.servers > 1) {
            const Observer observer(cluster.GetUrls());
            std::optional<std::size_t> leader;
            while (!(leader = observer.FindLeader())) {
                Sleep();
            }
            index = *leader;
        }
        Log("server");
        cluster[index].Kill();
        std::this_thread::sleep_for(pause);
        cluster[index].Start();
        ++serverKills;
    }

    void Log(const char* what) const {
        std::cout
            << std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin).count()
            << " ms, " << GetProgress() << " records: kill a " << what << std::endl;
    }

    bool Verify() {
        std::ifstream in(report);
        std::int64_t skipped = -1;
        std::int64_t acknowledged = -1;
        std::int64_t duplicates = -1;
        std::int64_t repeated = -1;
        std::int64_t dropped = -1;
        in >> skipped >> acknowledged >> duplicates >> repeated >> dropped;
        const Observer observer(cluster.GetUrls());
        // A server that was killed last may be on its way back.
        StreamInfo info;
        while ((info = observer.GetInfo("plant.>")) == nullptr) {
            Sleep();
        }
        const std::int64_t stored = CountSamples(*info);
        const bool areWhole = CheckRecords(files[0]) && CheckRecords(files[1]);
        std::cout << "killed: servers " << serverKills << ", publisher " << publisherKills
                  << ", followers " << followerKills << "\npublisher, last run: not sent again "
                  << skipped << ", acknowledged " << acknowledged << " (known already "
                  << duplicates << ", repeated " << repeated << "), dropped " << dropped
                  << "\nserver: " << stored << " samples\nfollowers: " << GetProgress()
                  << " records, each of " << plan.samples
                  << (areWhole ? " once and in order\n" : ": WRONG\n");
        return areWhole && stored == plan.samples && skipped + acknowledged == plan.samples &&
               dropped == 0 && publisher.GetStatus() == 0 && followers[0].GetStatus() == 0 &&
               followers[1].GetStatus() == 0;
    }

    bool CheckRecords(const std::string& file) const {
        const std::vector<Record> records = ReadRecords(file);
        std::array<std::uint64_t, numTanks> next{};
        for (const Record& record : records) {
            const std::uint64_t sequence = ++next.at(record.tank);
            if (record.level < 1 || TankOf(record.level) != record.tank ||
                SequenceOf(record.level) != sequence || record.sequence != sequence ||
                record.time != TimeOf(record.level)) {
                std::cout << file << ": tank " << record.tank << ", sample " << sequence
                          << ": number " << record.sequence << ", level " << record.level
                          << ", time " << record.time << '\n';
                return false;
            }
        }
        return records.size() == static_cast<std::size_t>(plan.samples);
    }

    static constexpr std::chrono::minutes maxPause{3};

    const Plan plan;
    std::mt19937 random;
    const Folder folder;
    const std::string report = folder.PathOf("published");
    const std::array<std::string, 2> files{folder.PathOf("first"), folder.PathOf("second")};
    NatsCluster cluster;
    Peer publisher;
    std::array<Peer, 2> followers;
    const Clock::time_point begin = Clock::now();
    Clock::time_point deadline = Clock::now() + maxPause;
    int kills = 0;
    int serverKills = 0;
    int publisherKills = 0;
    int followerKills = 0;
};

int Run(const std::vector<std::string>& arguments) {
    const auto get = [&](std::size_t index) { return std::stoll(arguments.at(index)); };
    if (!arguments.empty() && arguments[0] == "publish") {
        Publish(arguments.at(1), get(2), static_cast<int>(get(3)), arguments.at(4));
        return 0;
    }
    if (!arguments.empty() && arguments[0] == "follow") {
        Follow(arguments.at(1), get(2), arguments.at(3), arguments.at(4));
        return 0;
    }
    Plan plan;
    plan.samples = arguments.empty() ? plan.samples : get(0);
    plan.kills = arguments.size() < 2 ? plan.kills : static_cast<int>(get(1));
    plan.servers = arguments.size() < 3 ? plan.servers : static_cast<std::size_t>(get(2));
    plan.seed = arguments.size() < 4 ? plan.seed : static_cast<decltype(plan.seed)>(get(3));
    std::cout << plan.samples << " samples, " << plan.kills << " kills, servers: " << plan.servers
              << ", seed " << plan.seed << std::endl;
    const auto begin = Clock::now();
    const bool isWell = Chaos(plan).Run();
    std::cout << std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin).count()
              << " s" << std::endl;
    return isWell ? 0 : 1;
}

}  // namespace
}  // namespace velmora::test

int main(int argc, char** argv) {
    try {
        Poco::Logger::root().setChannel(new Poco::ConsoleChannel);
        Poco::Logger::root().setLevel(Poco::Message::PRIO_WARNING);
        return velmora::test::Run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::cerr << "nats_chaos: " << error.what() << '\n';
        return 2;
    }
}
