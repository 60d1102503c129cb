// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/follower.h"

#include "exchange/exchange_exception.h"
#include "nats/connection.h"
#include "nats/follow_target.h"
#include "nats/jet_stream.h"
#include "nats/loop_guard.h"
#include "nats/sequence_gate.h"
#include "nats/subject.h"

#include <Poco/Logger.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <unordered_map>
#include <utility>

namespace velmora::nats {

namespace {

constexpr std::chrono::milliseconds retryInterval(250);
constexpr int batchSize = 1000;
constexpr std::int64_t fetchMilliseconds = 200;

using ConsumerInfo = std::unique_ptr<jsConsumerInfo, Destroyer<jsConsumerInfo_Destroy>>;
using MetaData = std::unique_ptr<jsMsgMetaData, Destroyer<jsMsgMetaData_Destroy>>;

// The messages of one request, of which some may be taken out.
class Batch {
  public:
    Batch() = default;
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;
    ~Batch() { natsMsgList_Destroy(&list); }

    natsMsgList list = {};
};

}  // namespace

class Follower::State {
  public:
    State(Connection& connection, core::tessaryn::StreamTypeRepository& types,
          core::tessaryn::StreamRepository& streams, const std::vector<std::string>& subjects,
          const FollowerOptions& options)
        : options(options),
          connection(connection),
          jetStream(connection.Get(), options.jetStream),
          target(types, streams, jetStream, this->options) {
        Start(subjects);
    }

    State(const State&) = delete;
    State& operator=(const State&) = delete;

    ~State() {
        {
            const std::lock_guard lock(mutex);
            isStopping = true;
        }
        stopped.notify_all();
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    FollowerStatistics GetStatistics() const {
        const std::lock_guard lock(mutex);
        return statistics;
    }

  private:
    class Worker;

    void Start(const std::vector<std::string>& subjects);

    bool IsStopping() const {
        const std::lock_guard lock(mutex);
        return isStopping;
    }

    // Waits; true when the follower stops.
    bool Wait(std::chrono::milliseconds time) {
        std::unique_lock lock(mutex);
        return stopped.wait_for(lock, time, [this] { return isStopping; });
    }

    const FollowerOptions options;
    Connection& connection;
    const JetStream jetStream;
    FollowTarget target;
    mutable std::mutex mutex;
    std::condition_variable stopped;
    // Guarded by `mutex`.
    FollowerStatistics statistics;
    bool isStopping = false;
    std::vector<std::thread> threads;
};

// Follows one subject.
class Follower::State::Worker {
  public:
    Worker(State& state, const std::string& subject, std::size_t index)
        : state(state), subject(subject), decoder(state.options.limits.sample) {
        if (!state.options.durable.empty()) {
            durable = state.options.durable + (index == 0 ? "" : '-' + std::to_string(index));
        }
    }

    void Run() {
        while (!state.IsStopping()) {
            if (subscription == nullptr && !Begin()) {
                state.Wait(retryInterval);
                continue;
            }
            Batch batch;
            const natsStatus status = natsSubscription_Fetch(&batch.list, subscription.get(),
                                                             batchSize, fetchMilliseconds, nullptr);
            if (status == NATS_OK) {
                Take(batch.list);
            } else if (status != NATS_TIMEOUT || !IsConsumerThere()) {
                subscription.reset();
                const std::lock_guard lock(state.mutex);
                ++state.statistics.restarts;
            }
            PassReady();
        }
    }

  private:
    struct Gate {
        std::string path;
        SequenceGate gate;
    };

    // Makes or finds the consumer on the server, and subscribes to it; false when that fails.
    bool Begin() {
        jsConsumerConfig config;
        jsConsumerConfig_Init(&config);
        constexpr std::int64_t nanoseconds = 1000000000;
        constexpr std::int64_t inactiveSeconds = 60;
        constexpr std::int64_t acknowledgeSeconds = 3;
        config.AckPolicy = js_AckExplicit;
        // While what a follower of this name did not acknowledge before is still to come again, no
        // more than can be held back comes before it.
        config.MaxAckPending = batchSize;
        config.AckWait = acknowledgeSeconds * nanoseconds;
        config.FilterSubject = subject.c_str();
        SetStart(config);
        if (durable.empty()) {
            config.InactiveThreshold = inactiveSeconds * nanoseconds;
        } else {
            config.Durable = durable.c_str();
        }
        jsConsumerInfo* made = nullptr;
        jsCtx* const context = state.jetStream.GetContext();
        const char* const stream = state.jetStream.GetName().c_str();
        natsStatus status = NATS_NOT_FOUND;
        if (!durable.empty()) {
            status = js_GetConsumerInfo(&made, context, stream, durable.c_str(), nullptr, nullptr);
        }
        if (status == NATS_NOT_FOUND) {
            status = js_AddConsumer(&made, context, stream, &config, nullptr, nullptr);
        }
        const ConsumerInfo info(made);
        if (status == NATS_OK) {
            consumer = info->Name;
            jsSubOptions binding;
            jsSubOptions_Init(&binding);
            binding.Stream = stream;
            binding.Consumer = consumer.c_str();
            natsSubscription* subscribed = nullptr;
            status = js_PullSubscribe(&subscribed, context, subject.c_str(),
                                      durable.empty() ? nullptr : durable.c_str(), nullptr,
                                      &binding, nullptr);
            subscription.reset(subscribed);
        }
        if (status != NATS_OK) {
            Poco::Logger::get("velmora.nats")
                .debug("Cannot follow '" + subject + "' yet: " + natsStatus_GetText(status));
        }
        return status == NATS_OK;
    }

    void SetStart(jsConsumerConfig& config) const {
        constexpr std::int64_t nanosecondsPerMicrosecond = 1000;
        if (lastInStream != 0) {
            config.DeliverPolicy = js_DeliverByStartSequence;
            config.OptStartSeq = lastInStream + 1;
            return;
        }
        switch (state.options.start) {
            case Start::newest:
                config.DeliverPolicy = js_DeliverLastPerSubject;
                break;
            case Start::all:
                config.DeliverPolicy = js_DeliverAll;
                break;
            case Start::now:
                config.DeliverPolicy = js_DeliverNew;
                break;
            case Start::time:
                config.DeliverPolicy = js_DeliverByStartTime;
                config.OptStartTime =
                    state.options.time.epochMicroseconds() * nanosecondsPerMicrosecond;
                break;
            case Start::sequence:
                config.DeliverPolicy = js_DeliverByStartSequence;
                config.OptStartSeq = state.options.sequence;
                break;
        }
    }

    // A request that times out says nothing of a consumer that is gone.
    bool IsConsumerThere() const {
        if (!state.connection.IsConnected()) {
            return true;
        }
        jsConsumerInfo* found = nullptr;
        const natsStatus status = js_GetConsumerInfo(&found, state.jetStream.GetContext(),
                                                     state.jetStream.GetName().c_str(),
                                                     consumer.c_str(), nullptr, nullptr);
        const ConsumerInfo info(found);
        return status != NATS_NOT_FOUND;
    }

    void Take(natsMsgList& list) {
        for (int i = 0; i < list.Count; ++i) {
            Message message(std::exchange(list.Msgs[i], nullptr));
            jsMsgMetaData* made = nullptr;
            if (natsMsg_GetMetaData(&made, message.get()) != NATS_OK) {
                continue;
            }
            const MetaData data(made);
            {
                const std::lock_guard lock(state.mutex);
                ++state.statistics.received;
                state.statistics.behind = data->NumPending;
            }
            if (!Receive(message)) {
                // The server does not answer: what follows comes again.
                subscription.reset();
                return;
            }
            Acknowledge(message);
            PassReady();
            if (holding.empty()) {
                lastInStream = std::max(lastInStream, data->Sequence.Stream);
            }
        }
    }

    // Takes the message if it is to be acknowledged later. False when it cannot be used yet.
    bool Receive(Message& message) try {
        const auto frame = FrameOf(message.get(), state.options.limits.maxPayload);
        if (!frame) {
            return Count(&FollowerStatistics::refused);
        }
        if (frame->header.kind != exchange::FrameKind::sample) {
            return true;
        }
        if (!state.options.takesOwn &&
            IsPublishedHere(frame->header.channel, frame->header.sequence)) {
            return Count(&FollowerStatistics::own);
        }
        core::tessaryn::StreamType* const type = FindType(frame->header.fingerprint);
        if (type == nullptr) {
            return Count(&FollowerStatistics::unknown);
        }
        Gate& gate = FindGate(natsMsg_GetSubject(message.get()), frame->header.channel);
        if (!gate.gate.IsNew(frame->header.sequence)) {
            return Count(&FollowerStatistics::duplicates);
        }
        const bool wasHolding = gate.gate.IsHolding();
        core::tessaryn::Sample& sample = decoder.Decode(*frame, *type);
        gate.gate.Offer({frame->header, std::move(sample), std::exchange(message, nullptr)},
                        SequenceGate::Clock::now());
        if (!wasHolding) {
            holding.push_back(&gate);
        }
        return true;
    } catch (const NatsException& exception) {
        Poco::Logger::get("velmora.nats").debug(exception.what());
        return false;
    } catch (const std::invalid_argument& exception) {
        Poco::Logger::get("velmora.nats").warning(exception.what());
        return Count(&FollowerStatistics::refused);
    } catch (const exchange::ExchangeException& exception) {
        Poco::Logger::get("velmora.nats").warning(exception.what());
        return Count(&FollowerStatistics::refused);
    }

    core::tessaryn::StreamType* FindType(const exchange::Fingerprint& fingerprint) {
        auto place = types.find(fingerprint);
        if (place == types.end()) {
            core::tessaryn::StreamType* const type = state.target.FindType(fingerprint);
            if (type == nullptr) {
                return nullptr;
            }
            place = types.emplace(fingerprint, type).first;
        }
        return place->second;
    }

    Gate& FindGate(const std::string& messageSubject, std::uint32_t numbering) {
        const auto key = std::make_pair(messageSubject, numbering);
        auto place = gates.find(key);
        if (place == gates.end()) {
            std::string path = ToPath(messageSubject, state.target.GetSeparator());
            std::optional<std::uint64_t> last;
            if (state.options.getPosition) {
                if (const auto position = state.options.getPosition(path);
                    position && position->numbering == numbering) {
                    last = position->sequence;
                }
            }
            if (!last && state.options.start == Start::all && durable.empty()) {
                last = 0;
            }
            place =
                gates.emplace(key, Gate{std::move(path), SequenceGate(last, state.options.maxHeld)})
                    .first;
        }
        return place->second;
    }

    // Pushes what is complete.
    void PassReady() {
        std::erase_if(holding, [this](Gate* gate) {
            std::uint64_t missing = 0;
            for (SequenceGate::Numbered& ready :
                 gate->gate.TakeReady(SequenceGate::Clock::now(), missing)) {
                Push(gate->path, ready);
                Acknowledge(ready.message);
            }
            if (missing != 0) {
                Count(&FollowerStatistics::missing, missing);
            }
            return !gate->gate.IsHolding();
        });
    }

    void Push(const std::string& path, SequenceGate::Numbered& ready) {
        try {
            state.target.Apply(path, ready.header, std::move(ready.sample));
            Count(&FollowerStatistics::pushed);
        } catch (const std::exception& exception) {
            // A rule or a delegate of the host, or a path that cannot be.
            Count(&FollowerStatistics::refused);
            Poco::Logger::get("velmora.nats")
                .warning("A sample of '" + path + "': " + exception.what());
        }
        if (state.options.onPushed) {
            state.options.onPushed(path, ready.header);
        }
    }

    // Where this fails, the message comes again, and is known then.
    static void Acknowledge(const Message& message) {
        if (message != nullptr) {
            natsMsg_Ack(message.get(), nullptr);
        }
    }

    bool Count(std::uint64_t FollowerStatistics::*field, std::uint64_t by = 1) {
        const std::lock_guard lock(state.mutex);
        state.statistics.*field += by;
        return true;
    }

    State& state;
    const std::string subject;
    std::string durable;
    std::string consumer;
    exchange::SampleDecoder decoder;
    std::unordered_map<exchange::Fingerprint, core::tessaryn::StreamType*> types;
    std::map<std::pair<std::string, std::uint32_t>, Gate> gates;
    std::vector<Gate*> holding;
    // The number in the JetStream stream up to which all is pushed.
    std::uint64_t lastInStream = 0;
    Subscription subscription;
};

void Follower::State::Start(const std::vector<std::string>& subjects) {
    for (const std::string& subject : subjects) {
        threads.emplace_back(
            [this, subject, index = threads.size()] { Worker(*this, subject, index).Run(); });
    }
}

Follower::Follower(Connection& connection, core::tessaryn::StreamTypeRepository& types,
                   core::tessaryn::StreamRepository& streams,
                   const std::vector<std::string>& subjects, const FollowerOptions& options)
    : state(std::make_unique<State>(connection, types, streams, subjects, options)) {}

Follower::~Follower() = default;

FollowerStatistics Follower::GetStatistics() const {
    return state->GetStatistics();
}

}  // namespace velmora::nats
