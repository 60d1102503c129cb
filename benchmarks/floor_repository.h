// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/HashMap.h>
#include <Poco/Mutex.h>

#include <memory>
#include <string>

namespace velmora::benchmarks {

/// The least that a look-up by path needs: the lock of the tree, the path's parts one by one, and
/// in each group on the way its lock and its hash map.
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
