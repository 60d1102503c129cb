// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/export.h"
#include "nats/follower_options.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
class StreamRepository;
class StreamTypeRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::nats {

class Connection;

/// Pushes samples from publishers into streams of this process, with their original times, each
/// sample once and in the order of its stream.
///
/// Types and streams are added when their first samples arrive, at the paths that the subjects
/// give; an existing stream keeps its type, and samples of other versions are adapted to it (see
/// `exchange::Adapter`). Unless configured otherwise, samples that this process has published are
/// not pushed again, and publishers of this process do not send samples that a follower has pushed.
///
/// When the connection, the server or its consumer is lost, the follower continues where it was.
/// While the publisher may still repeat a missing number, its successors are held back: at most
/// `FollowerOptions::maxHeld` of them, and for `FollowerOptions::maxWait`. After that the number is
/// counted as missing.
///
/// A durable follower acknowledges pushed samples, some hundreds at a time, after calling
/// `FollowerOptions::beforeAcknowledge`. Samples that were not acknowledged when it ended are
/// delivered again, in order; with `FollowerOptions::getPosition` none of them is pushed twice.
///
/// Connection and repositories must outlive the follower.
///
/// \threadsafety guarded
class NATS_BRIDGE_API Follower {
  public:
    /// \param subjects such as "plant.>", which must not overlap; each gets a thread
    Follower(Connection& connection, core::tessaryn::StreamTypeRepository& types,
             core::tessaryn::StreamRepository& streams, const std::vector<std::string>& subjects,
             const FollowerOptions& options = {});
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;
    /// Stops following. Unacknowledged messages are delivered again to the next durable follower of
    /// the name.
    ~Follower();

    FollowerStatistics GetStatistics() const;

  private:
    class State;

    std::unique_ptr<State> state;
};

}  // namespace velmora::nats
