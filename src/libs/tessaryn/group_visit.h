// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/Mutex.h>
#include <Poco/ScopedLock.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace velmora::core::tessaryn {

/// Counts the visits to a group, so that the last visitor deletes a group that was removed
/// meanwhile.
///
/// A visit begins under the mutex of the group's parent and ends under the group's own: resolving a
/// path locks these two anyway, one after the other. Hence two counters, and neither a lock nor an
/// atomic operation of their own.
///
/// \threadsafety external: each operation says under which mutex
class VisitCount {
  public:
    /// Under the parent's mutex, while the parent holds the group.
    void Begin() { ++begun; }

    /// Under the group's mutex.
    /// \return whether the group was removed and this was the last visit: the caller deletes it
    bool End() {
        ++ended;
        return isRemoved && ended == begun;
    }

    /// Under the group's mutex, once the parent no longer holds the group, so that no visit begins.
    /// \return whether there is no visit: the caller deletes the group
    bool Remove() {
        isRemoved = true;
        return ended == begun;
    }

  private:
    std::uint64_t begun = 0;
    std::uint64_t ended = 0;
    bool isRemoved = false;
};

/// Keeps a group alive without holding its lock, while a path is resolved through it.
///
/// Another thread may remove the group meanwhile; it is deleted, with all that is below it, when
/// its last visit ends. Every operation locks one group at a time.
///
/// \threadsafety external
template <class Group>
class GroupVisit {
  public:
    /// A visit to the root of a tree, which is never removed.
    explicit GroupVisit(Group& root) : group(&root) {}
    GroupVisit(GroupVisit&& other) noexcept
        : group(other.group), isCounted(std::exchange(other.isCounted, false)) {}
    GroupVisit& operator=(GroupVisit&& other) noexcept {
        std::swap(group, other.group);
        std::swap(isCounted, other.isCounted);
        return *this;
    }
    GroupVisit(const GroupVisit&) = delete;
    GroupVisit& operator=(const GroupVisit&) = delete;
    ~GroupVisit() {
        if (isCounted) {
            Leave([](Group&) {});
        }
    }

    Group& operator*() const { return *group; }
    Group* operator->() const { return group; }

    /// Goes on to a sub-group and ends the visit to this one.
    /// \return whether there is a sub-group of that name; if not, the visit stays where it is
    bool Enter(std::string_view name) {
        return MoveOn([&] { return group->FindGroup(name); });
    }

    /// Same as `Enter`, but a sub-group that is missing is made.
    void EnterOrAdd(const std::string& name) {
        MoveOn([&] { return group->AddGroup(name); });
    }

    /// Begins a visit to a sub-group, while this one goes on.
    /// \return empty when there is no sub-group of that name
    std::optional<GroupVisit> Fork(std::string_view name) const {
        const Lock lock(group->mutex);
        Group* const below = group->FindGroup(name);
        if (below == nullptr) {
            return std::nullopt;
        }
        below->visits.Begin();
        GroupVisit fork(*below);
        fork.isCounted = true;
        return fork;
    }

    /// Calls a function object with the group and ends the visit, both under the group's mutex.
    /// \return the function object's result
    template <class Work>
    auto Leave(Work&& work) {
        const Ending ending(*this);
        return work(*group);
    }

  private:
    using Lock = Poco::ScopedLock<Poco::Mutex>;

    // Holds the group's mutex, and ends the visit before it is released.
    class Ending {
      public:
        explicit Ending(GroupVisit& endingVisit) : visit(endingVisit) { visit.group->mutex.lock(); }
        Ending(const Ending&) = delete;
        Ending& operator=(const Ending&) = delete;
        ~Ending() {
            Group* const visited = visit.group;
            const bool isLast = std::exchange(visit.isCounted, false) && visited->visits.End();
            visited->mutex.unlock();
            if (isLast) {
                delete visited;
            }
        }

      private:
        GroupVisit& visit;
    };

    // Ends this visit and begins one to the group that `find` gives, if any.
    template <class Find>
    bool MoveOn(Find find) {
        Group* next = nullptr;
        bool isLast = false;
        {
            const Lock lock(group->mutex);
            next = find();
            if (next == nullptr) {
                return false;
            }
            next->visits.Begin();
            isLast = isCounted && group->visits.End();
        }
        Group* const left = std::exchange(group, next);
        isCounted = true;
        if (isLast) {
            delete left;
        }
        return true;
    }

    Group* group;
    // Whether the visit ends with this object; those to a root do not count.
    bool isCounted = false;
};

}  // namespace velmora::core::tessaryn
