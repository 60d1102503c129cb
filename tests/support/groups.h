// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/generic_group.h"
#include "tessaryn/generic_repo.h"
#include "tessaryn/stream_group.h"
#include "tessaryn/stream_type_collection_group.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>

namespace velmora::test {

/// Adds to a class that its objects are counted.
template <class Base>
struct Counted : Base {
    template <class... Args>
    explicit Counted(Args&&... args) : Base(std::forward<Args>(args)...) {
        ++live;
    }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --live; }

    static inline int live = 0;
};

/// An item of a host: any class will do.
struct HostItem {};

/// A group of a host, which tells when a path leads through it.
class HostGroup : public core::tessaryn::GenericGroup<Counted<HostItem>, HostGroup> {
  public:
    using Base = GenericGroup<Counted<HostItem>, HostGroup>;

    HostGroup(const std::string& ownName, const INamedObject* above, char joinedWith = '.')
        : Base(ownName, above, joinedWith) {
        Visit();
        ++live;
    }
    HostGroup(const HostGroup&) = delete;
    HostGroup& operator=(const HostGroup&) = delete;
    ~HostGroup() override { --live; }

    // What a repository calls, seen from inside.
    Counted<HostItem>* GetItemPtr(const std::string& child) const {
        Visit();
        return Base::GetItemPtr(child);
    }
    HostGroup* GetGroupPtr(const std::string& child) const {
        Visit();
        return Base::GetGroupPtr(child);
    }
    using Base::AddGroup;
    HostGroup* AddGroup(const std::string& child) {
        Visit();
        return Base::AddGroup(child);
    }
    bool Remove(const std::string& child) {
        Visit();
        return Base::Remove(child);
    }
    void Clear() {
        Visit();
        Base::Clear();
    }

    static inline int live = 0;
    static inline std::function<void()> onVisit;

  private:
    static void Visit() {
        if (onVisit)
            onVisit();
    }
};

/// Opens an object's mutex to be looked at.
template <class Lockable>
struct OpenLock : Lockable {
    using Lockable::Lockable;

    /// Whether another thread could lock the object now.
    bool IsFree() const {
        bool free = false;
        std::thread([&] {
            free = this->mutex.tryLock();
            if (free)
                this->mutex.unlock();
        }).join();
        return free;
    }
};

/// \name The instantiations that the suites run over
///@{
struct HostTree {
    using Group = HostGroup;
    using Item = Counted<HostItem>;
    using CountedItem = Item;
    static std::unique_ptr<Item> MakeItem() { return std::make_unique<CountedItem>(); }
};

struct TypeTree {
    using Group = core::tessaryn::StreamTypeCollectionGroup;
    using Item = core::tessaryn::StreamTypeCollection;
    using CountedItem = Counted<Item>;
    static std::unique_ptr<Item> MakeItem() {
        return std::make_unique<CountedItem>("item", nullptr);
    }
};

struct StreamTree {
    using Group = core::tessaryn::StreamGroup;
    using Item = core::tessaryn::Stream;
    using CountedItem = Counted<Item>;
    static std::unique_ptr<Item> MakeItem() {
        static core::tessaryn::StreamType type;
        return std::make_unique<CountedItem>(&type, 1L);
    }
};
///@}

}  // namespace velmora::test
