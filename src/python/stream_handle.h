// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "type_record.h"
#include "unlocked.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace velmora::core::tessaryn {
class Stream;
}

namespace velmora::python {

class StreamStore;

/// A stream of a repository, as long as it is there: counts the calls that use it, so that its
/// removal waits for them and later ones are refused.
///
/// \threadsafety guarded
class StreamLink {
  public:
    using Stream = core::tessaryn::Stream;

    /// \param stream \ownership observes: exists until `Remove` has returned
    StreamLink(Stream& stream, std::string path, std::shared_ptr<const TypeRecord> type);

    /// Begins a use.
    /// \return \ownership lends: until `Leave`
    /// \throws DeadReference when the stream was removed; nothing is then to be left
    Stream& Enter();
    /// Ends a use.
    void Leave();
    /// Refuses uses from now on, and waits for those under way. Call it without the GIL.
    void Remove();

    bool IsAlive() const { return (uses.load(std::memory_order_relaxed) & removed) == 0; }
    const std::string& GetPath() const { return path; }
    const std::shared_ptr<const TypeRecord>& GetType() const { return type; }

  private:
    static constexpr std::uint32_t removed = 0x80000000U;

    // The number of uses, and the flag.
    std::atomic<std::uint32_t> uses{0};
    Stream* stream;
    std::string path;
    std::shared_ptr<const TypeRecord> type;
};

/// What Python holds of a stream: the link, and the repository, which lives as long.
///
/// \threadsafety guarded
class StreamHandle {
  public:
    using Stream = core::tessaryn::Stream;

    StreamHandle(std::shared_ptr<StreamStore> store, std::shared_ptr<StreamLink> link);

    /// Calls a function object with the stream, without the GIL. It must not touch Python objects.
    /// \pre the calling thread holds the GIL
    /// \return its result
    /// \throws DeadReference when the stream was removed
    template <class Work>
    auto Use(Work&& work) const {
        const GilRelease release;
        const Visit visit(*link);
        return std::forward<Work>(work)(visit.stream);
    }

    const std::shared_ptr<StreamStore>& GetStore() const { return store; }
    const std::shared_ptr<StreamLink>& GetLink() const { return link; }
    const TypeRecord& GetType() const { return *link->GetType(); }

  private:
    struct Visit {
        explicit Visit(StreamLink& link) : link(link), stream(link.Enter()) {}
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;
        ~Visit() { link.Leave(); }
        StreamLink& link;
        Stream& stream;
    };

    std::shared_ptr<StreamStore> store;
    std::shared_ptr<StreamLink> link;
};

}  // namespace velmora::python
