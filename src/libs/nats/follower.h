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

/// Pushes what publishers send into streams of this process, with the times of the source, each
/// sample once and in the order of its stream.
///
/// Types and streams are made as they come, in paths that the subjects give; a stream that exists
/// keeps its type, and samples of other versions are adapted to it (see `exchange::Adapter`).
/// Samples that this process published itself are not pushed again, and what a follower pushes no
/// publisher of the process sends, unless told so.
///
/// When the connection, the server or the consumer on it goes, the follower begins again where it
/// was. A number that is missing is waited for while its publisher may still send it again, as long
/// as its successors are at most `FollowerOptions::maxHeld`, and for `FollowerOptions::maxWait`;
/// then it is counted.
///
/// A durable follower acknowledges what it has pushed, some hundreds of samples at a time, after
/// `FollowerOptions::beforeAcknowledge`. What was not acknowledged when it ended comes again, in
/// order: with `FollowerOptions::getPosition` none of it is pushed twice.
///
/// Connection and repositories must outlive the follower.
///
/// \threadsafety guarded
class NATS_BRIDGE_API Follower {
  public:
    /// \param subjects such as "plant.>", which must not overlap; a thread for each
    Follower(Connection& connection, core::tessaryn::StreamTypeRepository& types,
             core::tessaryn::StreamRepository& streams, const std::vector<std::string>& subjects,
             const FollowerOptions& options = {});
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;
    /// Ends following. What is not acknowledged comes again to a durable follower.
    ~Follower();

    FollowerStatistics GetStatistics() const;

  private:
    class State;

    std::unique_ptr<State> state;
};

}  // namespace velmora::nats
