// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/follower.h"

#include "nats/connection.h"
#include "nats/follow_target.h"
#include "nats/follow_worker.h"
#include "nats/jet_stream.h"

#include <thread>

namespace velmora::nats {

class Follower::State {
  public:
    State(Connection& connection, core::tessaryn::StreamTypeRepository& types,
          core::tessaryn::StreamRepository& streams, const std::vector<std::string>& subjects,
          const FollowerOptions& options)
        : options(options),
          jetStream(connection.Get(), options.jetStream),
          target(types, streams, jetStream, this->options) {
        for (const std::string& subject : subjects) {
            threads.emplace_back([this, &connection, subject, index = threads.size()] {
                FollowWorker(connection, jetStream, target, this->options, control, subject, index)
                    .Run();
            });
        }
    }

    State(const State&) = delete;
    State& operator=(const State&) = delete;

    ~State() {
        control.Stop();
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    FollowerStatistics GetStatistics() const { return control.Get(); }

  private:
    const FollowerOptions options;
    const JetStream jetStream;
    FollowTarget target;
    FollowControl control;
    std::vector<std::thread> threads;
};

Follower::Follower(Connection& connection, core::tessaryn::StreamTypeRepository& types,
                   core::tessaryn::StreamRepository& streams,
                   const std::vector<std::string>& subjects, const FollowerOptions& options)
    : state(std::make_unique<State>(connection, types, streams, subjects, options)) {}

Follower::~Follower() = default;

FollowerStatistics Follower::GetStatistics() const {
    return state->GetStatistics();
}

}  // namespace velmora::nats
