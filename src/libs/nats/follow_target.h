// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/adapter.h"
#include "exchange/sample_decoder.h"
#include "nats/follower_options.h"
#include "nats/jet_stream.h"
#include "nats/sequence_gate.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>

namespace velmora::core::tessaryn {
class Stream;
class StreamRepository;
class StreamType;
class StreamTypeRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::nats {

/// The destination of followed samples: finds or adds their types and streams, and pushes.
///
/// Types are found by their fingerprints: in the repository, or from the descriptions that
/// publishers keep on the server.
///
/// \threadsafety guarded
class FollowTarget {
  public:
    FollowTarget(core::tessaryn::StreamTypeRepository& types,
                 core::tessaryn::StreamRepository& streams, const JetStream& jetStream,
                 const FollowerOptions& options);
    FollowTarget(const FollowTarget&) = delete;
    FollowTarget& operator=(const FollowTarget&) = delete;
    ~FollowTarget();

    /// The type of a layout; null when nobody has described it.
    /// \throws NatsException when the server does not answer
    /// \throws exchange::ExchangeException when the description is wrong, or the repository has
    /// another type of that name and version
    core::tessaryn::StreamType* FindType(const exchange::Fingerprint& fingerprint);

    struct Applied {
        std::uint64_t pushed = 0;
        std::uint64_t refused = 0;
    };

    /// Applies changes to the stream of a path, which is added if it is missing, or passes them to
    /// `FollowerOptions::takeSample`. Exceptions, such as those of a host's rule, are logged.
    /// \param changes at least one; their samples are moved from
    Applied Apply(const std::string& path, std::span<Numbered> changes);

    char GetSeparator() const;

  private:
    core::tessaryn::StreamType& AddType(const exchange::DescribedType& described);
    Applied Take(const std::string& path, std::span<Numbered> changes) const;
    void PushAll(const std::string& path,
                 std::span<std::unique_ptr<core::tessaryn::Sample>> samples);
    void Change(const std::string& path, core::tessaryn::StreamChangeType changeType,
                core::tessaryn::Sample&& sample);
    core::tessaryn::Stream& FindStream(const std::string& path, core::tessaryn::StreamType* type);
    void Adapt(core::tessaryn::Sample& sample, core::tessaryn::StreamType& target);

    core::tessaryn::StreamTypeRepository& types;
    core::tessaryn::StreamRepository& streams;
    const JetStream& jetStream;
    const FollowerOptions& options;
    std::mutex mutex;
    // Guarded by `mutex`.
    std::unordered_map<exchange::Fingerprint, core::tessaryn::StreamType*> known;
    std::map<std::pair<const core::tessaryn::StreamType*, const core::tessaryn::StreamType*>,
             exchange::Adapter>
        adapters;
};

}  // namespace velmora::nats
