// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "floor_repository.h"

#include <Poco/ScopedLock.h>

namespace velmora::benchmarks {

namespace {

using Lock = Poco::ScopedLock<Poco::Mutex>;
constexpr char separator = '/';

}  // namespace

FloorRepository::FloorRepository() : root(std::make_unique<Group>()) {}

FloorRepository::~FloorRepository() = default;

FloorRepository::Group::~Group() {
    for (const auto& group : groups) {
        delete group.second;
    }
}

void FloorRepository::Add(const std::string& path, void* item) {
    Group* group = root.get();
    std::size_t begin = 0;
    for (std::size_t end = path.find(separator); end != std::string::npos;
         end = path.find(separator, begin)) {
        Group*& next = group->groups[path.substr(begin, end - begin)];
        if (next == nullptr) {
            next = new Group;
        }
        group = next;
        begin = end + 1;
    }
    group->items[path.substr(begin)] = item;
}

void* FloorRepository::Find(const std::string& path) const {
    const Lock lock(mutex);
    const Group* group = root.get();
    std::string part;
    std::size_t begin = 0;
    for (std::size_t end = path.find(separator); end != std::string::npos;
         end = path.find(separator, begin)) {
        part.assign(path, begin, end - begin);
        const Lock groupLock(group->mutex);
        const auto found = group->groups.find(part);
        if (found == group->groups.end()) {
            return nullptr;
        }
        group = found->second;
        begin = end + 1;
    }
    part.assign(path, begin, std::string::npos);
    const Lock groupLock(group->mutex);
    const auto found = group->items.find(part);
    return found == group->items.end() ? nullptr : found->second;
}

}  // namespace velmora::benchmarks
