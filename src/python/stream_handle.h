// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "entry_table.h"
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

/// A link to a stream of a repository. Counts the calls that use the stream, so that its removal
/// waits for them and later calls are refused.
///
/// \threadsafety guarded
class StreamLink {
  public:
    using Stream = core::tessaryn::Stream;

    /// \param stream \ownership observes: exists until `Remove` has returned
    StreamLink(Stream& stream, std::string path, std::shared_ptr<const TypeRecord> type);

    /// Begins a use.
    /// \return \ownership lends: until `Leave`
    /// \throws DeadReference when the stream was removed; `Leave` must not be called then
    Stream& Enter();
    /// Ends a use.
    void Leave();
    /// Refuses further uses, and waits for the running ones. Call it without the GIL.
    /// \throws std::runtime_error after `Abandon`
    void Remove();
    /// For the child of a fork, where a lock of the stream may never be released: refuses further
    /// uses and the removal.
    void Abandon();
    /// \throws std::runtime_error after `Abandon`
    void CheckNotAbandoned() const;

    bool IsAlive() const { return (uses.load(std::memory_order_relaxed) & refused) == 0; }
    const std::string& GetPath() const { return path; }
    const std::shared_ptr<const TypeRecord>& GetType() const { return type; }

  private:
    static constexpr std::uint32_t removed = 0x80000000U;
    static constexpr std::uint32_t abandoned = 0x40000000U;
    static constexpr std::uint32_t refused = removed | abandoned;

    // The number of uses, and the flags.
    std::atomic<std::uint32_t> uses{0};
    Stream* stream;
    std::string path;
    std::shared_ptr<const TypeRecord> type;
};

/// Python's handle of a stream: the link, and a reference to the repository.
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
        return UseUnlocked(std::forward<Work>(work));
    }
    /// As `Use`, for a thread that does not hold the GIL.
    template <class Work>
    auto UseUnlocked(Work&& work) const {
        const Visit visit(*link);
        return std::forward<Work>(work)(visit.stream);
    }

    /// The entries of a pinned stream's type. Needs the GIL.
    const EntryTable& GetEntries(const Stream& pinned) const;

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
    // Made on first use.
    mutable std::shared_ptr<const EntryTable> entries;
};

/// Keeps a stream in its repository, so that Python objects can be converted into samples of its
/// type with the GIL held. While it exists, the thread must not remove streams: see `CheckRemoval`.
///
/// \threadsafety external
class PinnedStream {
  public:
    using Stream = core::tessaryn::Stream;

    /// \throws DeadReference when the stream was removed
    explicit PinnedStream(const StreamHandle& handle);
    PinnedStream(const PinnedStream&) = delete;
    PinnedStream& operator=(const PinnedStream&) = delete;
    ~PinnedStream();

    Stream& operator*() const { return stream; }
    Stream* operator->() const { return &stream; }
    const EntryTable& GetEntries() const { return handle.GetEntries(stream); }

    /// Must be called before streams are removed.
    /// \throws PackageError TessarynError when the calling thread has a stream pinned, since the
    /// conversion of an object removes streams: it would wait for itself
    static void CheckRemoval();

  private:
    const StreamHandle& handle;
    Stream& stream;
};

}  // namespace velmora::python
