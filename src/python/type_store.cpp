// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "type_store.h"

#include "tessaryn/stream_repository.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace velmora::python {

using core::tessaryn::StreamType;
using core::tessaryn::StreamTypeCollection;
using core::tessaryn::StreamTypeCollectionGroup;
using core::tessaryn::StreamTypeRepository;
using utils::Version;

TypeStore::TypeStore(char separator)
    : TypeStore(std::make_unique<StreamTypeRepository>(Poco::Logger::root(), separator)) {}

TypeStore::TypeStore(std::unique_ptr<StreamTypeRepository> repository)
    : repository(std::move(repository)) {}

void TypeStore::Add(const std::string& path, const TypeRecord& type) {
    const std::lock_guard lock(guard);
    FindOrAdd(path, type);
}

StreamType* TypeStore::FindOrAdd(const std::string& path, const TypeRecord& type) {
    StreamTypeCollection* const collection = repository->Add(path);
    if (collection == nullptr) {
        throw std::invalid_argument("The empty path names no stream type.");
    }
    for (StreamType* const existing : collection->GetAll()) {
        if (existing->GetVersion() == type.GetVersion()) {
            if (!HaveSameEntries(*existing, type.GetType())) {
                throw std::invalid_argument("The repository has version " +
                                            type.GetVersion().ToString() + " of '" + path +
                                            "' with other entries.");
            }
            return existing;
        }
    }
    StreamType& added = collection->Add(type.GetVersion());
    for (const core::tessaryn::SampleEntry& entry : type.GetEntries()) {
        added.Add(entry.key, entry.type, entry.initialSize);
    }
    return &added;
}

std::optional<std::vector<Version>> TypeStore::GetVersions(const std::string& path) const {
    const std::lock_guard lock(guard);
    const StreamTypeCollection* const collection = repository->GetPtr(path);
    if (collection == nullptr) {
        return std::nullopt;
    }
    std::vector<Version> versions;
    for (const StreamType* const type : collection->GetAll()) {
        versions.push_back(type->GetVersion());
    }
    return versions;
}

std::shared_ptr<const TypeRecord> TypeStore::Find(const std::string& path,
                                                  const std::optional<Version>& version) const {
    const std::lock_guard lock(guard);
    const StreamTypeCollection* const collection = repository->GetPtr(path);
    const StreamType* const type =
        collection == nullptr ? nullptr : collection->GetPtr(version.value_or(Version::Latest()));
    return type == nullptr ? nullptr : Remember(path, *type);
}

std::shared_ptr<const TypeRecord> TypeStore::RecordOf(const StreamType& type) const {
    const std::lock_guard lock(guard);
    const auto found = records.find(&type);
    if (found != records.end()) {
        return found->second;
    }
    ForEach([&](const std::string& path, const StreamTypeCollection& collection) {
        for (const StreamType* const each : collection.GetAll()) {
            Remember(path, *each);
        }
    });
    return Remember(type.GetName(), type);
}

std::shared_ptr<const TypeRecord> TypeStore::Remember(const std::string& path,
                                                      const StreamType& type) const {
    std::shared_ptr<const TypeRecord>& record = records[&type];
    if (record == nullptr) {
        record = std::make_shared<const TypeRecord>(path, type.GetVersion(), EntriesOf(type));
    }
    return record;
}

std::vector<std::string> TypeStore::GetPaths() const {
    const std::lock_guard lock(guard);
    std::vector<std::string> paths;
    ForEach([&](const std::string& path, const StreamTypeCollection& /*collection*/) {
        paths.push_back(path);
    });
    return paths;
}

template <class Visit>
void TypeStore::ForEach(Visit visit) const {
    struct Pending {
        const StreamTypeCollectionGroup* group;
        std::string prefix;
    };
    std::vector<Pending> open{{&repository->GetRoot(), ""}};
    while (!open.empty()) {
        const Pending pending = std::move(open.back());
        open.pop_back();
        for (const std::string& name : pending.group->GetItemNames()) {
            visit(pending.prefix + name, pending.group->GetItem(name));
        }
        std::vector<std::string> names = pending.group->GetGroupNames();
        std::reverse(names.begin(), names.end());
        for (const std::string& name : names) {
            open.push_back(
                {pending.group->GetGroupPtr(name), pending.prefix + name + GetSeparator()});
        }
    }
}

bool TypeStore::Remove(const std::string& path, const std::optional<Version>& version) {
    const std::lock_guard lock(guard);
    StreamTypeCollection* const collection = repository->GetPtr(path);
    if (collection == nullptr) {
        return false;
    }
    for (StreamType* const type : collection->GetAll()) {
        if (!version || type->GetVersion() == *version) {
            CheckUnused(path, type);
        }
    }
    records.clear();
    if (!version) {
        return repository->Remove(path);
    }
    const bool exists = collection->GetPtr(*version) != nullptr;
    collection->Remove(*version);
    return exists;
}

void TypeStore::CheckUnused(const std::string& path, StreamType* type) const {
    if (pinned.count(type) != 0) {
        throw std::invalid_argument("Version " + type->GetVersion().ToString() + " of '" + path +
                                    "' cannot be removed: a subscription uses it.");
    }
    for (const std::weak_ptr<StreamRepository>& user : users) {
        const std::shared_ptr<StreamRepository> streams = user.lock();
        if (streams != nullptr && streams->IsStreamTypeInUse(type)) {
            throw std::invalid_argument("Version " + type->GetVersion().ToString() + " of '" +
                                        path + "' cannot be removed: a stream uses it.");
        }
    }
}

void TypeStore::Pin(const StreamType& type) {
    const std::lock_guard lock(guard);
    pinned.insert(&type);
}

void TypeStore::Unpin(const StreamType& type) {
    const std::lock_guard lock(guard);
    pinned.erase(pinned.find(&type));
}

void TypeStore::Attach(std::weak_ptr<StreamRepository> streams) {
    const std::lock_guard lock(guard);
    std::erase_if(users, [](const auto& user) { return user.expired(); });
    users.push_back(std::move(streams));
}

}  // namespace velmora::python
