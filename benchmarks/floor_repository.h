// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/HashMap.h>
#include <Poco/Mutex.h>

#include <memory>
#include <string>

namespace velmora::benchmarks {

/// The minimum for a look-up by path: the lock of the tree, and for each part of the path the lock
/// and the hash map of a group.
class FloorRepository {
  public:
    FloorRepository();
    ~FloorRepository();
    FloorRepository(const FloorRepository&) = delete;
    FloorRepository& operator=(const FloorRepository&) = delete;

    void Add(const std::string& path, void* item);
    void* Find(const std::string& path) const;

  private:
    struct Group {
        Group() = default;
        Group(const Group&) = delete;
        Group& operator=(const Group&) = delete;
        ~Group();

        Poco::HashMap<std::string, Group*> groups;
        Poco::HashMap<std::string, void*> items;
        mutable Poco::Mutex mutex;
    };

    std::unique_ptr<Group> root;
    mutable Poco::Mutex mutex;
};

}  // namespace velmora::benchmarks
