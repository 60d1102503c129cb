// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/chaos/peers.h"

#include "nats/connection.h"
#include "nats/follower.h"
#include "nats/nats_exception.h"
#include "nats/publisher.h"
#include "tessaryn/rules.h"
#include "tessaryn/scoped_subscription.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace velmora::test {

namespace {

using namespace std::chrono_literals;
using namespace core::tessaryn;

std::string PathOfTank(std::uint32_t tank) {
    return "plant/tank" + std::to_string(tank);
}

std::uint32_t TankOfPath(const std::string& path) {
    return static_cast<std::uint32_t>(path.back() - '0');
}

struct Plant {
    Plant() {
        type.Add("level", Int64, 1).Add("note", String, 0);
        for (std::uint32_t tank = 0; tank < numTanks; ++tank) {
            constexpr long maxSize = 1000;
            tanks[tank] = streams.AddStream(PathOfTank(tank), &type, maxSize);
        }
    }

    StreamTypeRepository types{Poco::Logger::root(), '/'};
    StreamRepository streams{Poco::Logger::root(), '/'};
    StreamType& type = types.Add("plant/Tank")->Add({1, 0, 0});
    std::array<Stream*, numTanks> tanks{};
};

nats::ResumePoint Resume(nats::Publisher& publisher, const std::string& path) {
    for (;; std::this_thread::sleep_for(50ms)) {
        try {
            return publisher.Resume(path);
        } catch (const nats::NatsException&) {
            // No server, or no leader, at the moment.
        }
    }
}

// A file of records that survives the process.
class RecordFile {
  public:
    explicit RecordFile(const std::string& name)
        : file(open(name.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) {
        const std::vector<Record> records = ReadRecords(name);
        written = records.size();
        for (const Record& record : records) {
            last[record.tank] = nats::Position{record.numbering, record.sequence};
        }
        if (file < 0 || ftruncate(file, static_cast<off_t>(written * sizeof(Record))) != 0) {
            throw std::runtime_error("cannot write " + name);
        }
    }
    RecordFile(const RecordFile&) = delete;
    RecordFile& operator=(const RecordFile&) = delete;
    ~RecordFile() { close(file); }

    void Add(const Record& record) { pending.push_back(record); }
    void Write() {
        const std::size_t bytes = pending.size() * sizeof(Record);
        if (write(file, pending.data(), bytes) != static_cast<ssize_t>(bytes)) {
            throw std::runtime_error("cannot write records");
        }
        written += pending.size();
        pending.clear();
    }
    std::size_t GetSize() const { return written; }
    std::optional<nats::Position> GetLast(std::uint32_t tank) const { return last[tank]; }

  private:
    int file;
    std::vector<Record> pending;
    std::atomic<std::size_t> written = 0;
    std::array<std::optional<nats::Position>, numTanks> last;
};

}  // namespace

std::vector<Record> ReadRecords(const std::string& file) {
    std::error_code ignored;
    const auto size = std::filesystem::file_size(file, ignored);
    if (ignored) {
        return {};
    }
    std::vector<Record> records(size / sizeof(Record));
    std::ifstream in(file, std::ios::binary);
    in.read(reinterpret_cast<char*>(records.data()),
            static_cast<std::streamsize>(records.size() * sizeof(Record)));
    if (!in) {
        throw std::runtime_error("cannot read " + file);
    }
    return records;
}

void Publish(const std::string& urls, std::int64_t count, int replicas, const std::string& report) {
    Plant plant;
    nats::Connection connection(urls);
    nats::PublisherOptions options;
    options.overflow = delivery::Overflow::wait;
    options.maxWait = 1h;
    options.replicas = replicas;
    options.acknowledgeWithin = 2s;
    options.capacity = 1000;
    nats::Publisher publisher(connection, plant.streams, {"plant/*"}, options);
    std::array<std::uint64_t, numTanks> resumed{};
    for (std::uint32_t tank = 0; tank < numTanks; ++tank) {
        const nats::ResumePoint point = Resume(publisher, PathOfTank(tank));
        resumed[tank] = point.sequence;
    }
    std::uint64_t skipped = 0;
    for (std::int64_t level = 1; level <= count; ++level) {
        const std::uint32_t tank = TankOf(level);
        if (SequenceOf(level) <= resumed[tank]) {
            ++skipped;
            continue;
        }
        Sample sample(&plant.type, Poco::Timestamp(0));
        sample.Set(0, 0, static_cast<long long>(level));
        sample.Set(1, std::to_string(level));
        plant.tanks[tank]->PushNew(
            new Sample(Restamped(std::move(sample), Poco::Timestamp(TimeOf(level)))));
    }
    while (!publisher.Flush(1s)) {
    }
    const nats::PublisherStatistics statistics = publisher.GetStatistics();
    std::ofstream(report) << skipped << ' ' << statistics.acknowledged << ' '
                          << statistics.duplicates << ' ' << statistics.repeated << ' '
                          << statistics.queues.dropped << '\n';
}

void Follow(const std::string& urls, std::int64_t count, const std::string& name,
            const std::string& file) {
    RecordFile records(file);
    Plant plant;
    // Samples from the streams' subscriptions, in order, until the follower reports their numbers.
    std::array<std::deque<Record>, numTanks> unnumbered;
    std::vector<std::unique_ptr<ScopedSubscription>> subscriptions;
    for (std::uint32_t tank = 0; tank < numTanks; ++tank) {
        subscriptions.push_back(std::make_unique<ScopedSubscription>(
            *plant.tanks[tank], rules::Always(), [&unnumbered, tank](SubscriptionArgs& args) {
                const Sample& sample = *args.sample;
                const long long level = sample.GetInt64(0, 0);
                const bool isWhole = sample.GetString(1) == std::to_string(level);
                unnumbered[tank].push_back(
                    {tank, 0, 0, sample.GetTimeStamp().epochMicroseconds(), isWhole ? level : -1});
            }));
    }
    nats::FollowerOptions options;
    options.start = nats::Start::all;
    options.durable = name;
    options.getPosition = [&](const std::string& path) {
        return records.GetLast(TankOfPath(path));
    };
    options.onPushed = [&](const std::string& path, const exchange::FrameHeader& header) {
        std::deque<Record>& queue = unnumbered[TankOfPath(path)];
        Record record = queue.front();
        queue.pop_front();
        record.numbering = header.channel;
        record.sequence = header.sequence;
        records.Add(record);
    };
    options.beforeAcknowledge = [&] { records.Write(); };
    nats::Connection connection(urls);
    const nats::Follower follower(connection, plant.types, plant.streams, {">"}, options);
    while (records.GetSize() < static_cast<std::size_t>(count)) {
        std::this_thread::sleep_for(10ms);
    }
    // Waits for samples that come twice.
    std::this_thread::sleep_for(200ms);
    const nats::FollowerStatistics statistics = follower.GetStatistics();
    std::ofstream(file + ".report") << statistics.pushed << ' ' << statistics.duplicates << ' '
                                    << statistics.missing << ' ' << statistics.restarts << '\n';
}

}  // namespace velmora::test
