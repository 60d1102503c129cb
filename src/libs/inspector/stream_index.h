// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::core::tessaryn {
class StreamRepository;
}

namespace velmora::inspector {

/// The paths of a repository's streams at one time.
///
/// \threadsafety immutable
class PathList {
  public:
    /// A child of a group: a stream, or a group of streams.
    struct Child {
        std::string name;
        std::string path;
        std::size_t streams = 0;  ///< of a group; 0 of a stream
    };
    struct Page {
        std::size_t total = 0;
        std::vector<Child> children;
    };
    struct Matches {
        std::size_t total = 0;
        std::vector<std::string> paths;
    };

    PathList(std::vector<std::string> unsorted, char separator);

    const std::vector<std::string>& GetPaths() const { return paths; }
    /// The children of a group, by name; those of the root for the empty path.
    Page GetChildren(const std::string& group, std::size_t offset, std::size_t limit) const;
    /// The paths that contain a text, whatever the case of ASCII letters, in order.
    Matches Find(const std::string& text, std::size_t offset, std::size_t limit) const;

  private:
    std::vector<std::string>::const_iterator EndOf(std::string_view prefix) const;
    bool IsBefore(std::string_view left, std::string_view right) const;

    char separator;
    /// Sorted with the separator before all other characters, so that all paths below a group are
    /// adjacent.
    std::vector<std::string> paths;
    std::vector<std::string> folded;  ///< in lower case
};

/// Keeps the list of paths up to date. The list is rebuilt when groups have changed, but rebuilding
/// takes at most a twentieth of the time.
///
/// \threadsafety guarded
class StreamIndex {
  public:
    /// \param streams must outlive this
    explicit StreamIndex(const core::tessaryn::StreamRepository& streams) : streams(streams) {}

    std::shared_ptr<const PathList> Get();

  private:
    using Clock = std::chrono::steady_clock;

    const core::tessaryn::StreamRepository& streams;
    std::mutex mutex;
    // Guarded by the mutex.
    std::shared_ptr<const PathList> list;
    std::uint64_t changes = 0;
    Clock::time_point nextUpdate;
};

}  // namespace velmora::inspector
