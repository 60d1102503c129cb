// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "stream_store.h"

#include "errors.h"

#include <Poco/Logger.h>

#include <stdexcept>
#include <utility>

namespace velmora::python {

using core::tessaryn::StreamGroup;
using core::tessaryn::StreamType;

StreamStore::StreamStore(std::shared_ptr<TypeStore> types, char separator)
    : StreamStore(std::move(types),
                  std::make_unique<StreamRepository>(Poco::Logger::root(), separator)) {}

StreamStore::StreamStore(std::shared_ptr<TypeStore> types,
                         std::unique_ptr<StreamRepository> repository)
    : types(std::move(types)), repository(std::move(repository)) {
    this->types->Attach(this->repository);
}

// Handles keep the store alive, so no link is in use here.
StreamStore::~StreamStore() = default;

std::shared_ptr<StreamLink> StreamStore::Add(const std::string& path, const TypeRecord& type,
                                             long maxSize) {
    const std::lock_guard lock(guard);
    CheckOpen();
    if (repository->GetStreamPtr(path) != nullptr) {
        throw std::invalid_argument("There is a stream '" + path + "' already.");
    }
    Stream* const stream = types->AddAndUse(type.GetName(), type, [&](StreamType* added) {
        return repository->AddStream(path, added, maxSize);
    });
    if (stream == nullptr) {
        throw std::invalid_argument("The empty path names no stream.");
    }
    return LinkOf(path, *stream);
}

std::shared_ptr<StreamLink> StreamStore::Find(const std::string& path) {
    const std::lock_guard lock(guard);
    CheckOpen();
    Stream* const stream = repository->GetStreamPtr(path);
    return stream == nullptr ? nullptr : LinkOf(path, *stream);
}

std::shared_ptr<StreamLink> StreamStore::LinkOf(const std::string& path, Stream& stream) {
    std::shared_ptr<StreamLink>& link = links[&stream];
    if (link == nullptr) {
        link = std::make_shared<StreamLink>(stream, path, types->RecordOf(*stream.GetStreamType()));
    }
    return link;
}

std::vector<std::string> StreamStore::GetPaths() const {
    const std::lock_guard lock(guard);
    CheckOpen();
    std::vector<std::string> paths;
    repository->ForEachStream(
        [&](const std::string& path, Stream& /*stream*/) { paths.push_back(path); });
    return paths;
}

bool StreamStore::Remove(const std::string& path) {
    PinnedStream::CheckRemoval();
    const std::lock_guard lock(guard);
    CheckOpen();
    if (const Stream* const stream = repository->GetStreamPtr(path)) {
        RemoveLink(stream);
    } else if (path.empty()) {
        return false;
    } else if (const StreamGroup* const group = repository->GetGroupPtr(path)) {
        VisitLinks(*group, [](StreamLink& link) { link.CheckNotAbandoned(); });
        VisitLinks(*group, [](StreamLink& link) { link.Remove(); });
        std::erase_if(links, [](const auto& link) { return !link.second->IsAlive(); });
    }
    const bool isRemoved = repository->Remove(path);
    std::erase_if(
        units, [&](const auto& each) { return repository->GetStreamPtr(each.first) == nullptr; });
    return isRemoved;
}

void StreamStore::Clear() {
    PinnedStream::CheckRemoval();
    const std::lock_guard lock(guard);
    CheckOpen();
    RemoveAll();
}

void StreamStore::Close() {
    PinnedStream::CheckRemoval();
    const std::lock_guard lock(guard);
    RemoveAll();
    isClosed = true;
}

std::map<std::string, std::string> StreamStore::GetUnits(const std::string& path) const {
    const std::lock_guard lock(guard);
    const auto found = units.find(path);
    return found == units.end() ? std::map<std::string, std::string>() : found->second;
}

void StreamStore::SetUnit(const std::string& path, const std::string& entry,
                          const std::string& unit) {
    const std::lock_guard lock(guard);
    units[path][entry] = unit;
}

bool StreamStore::IsClosed() const {
    const std::lock_guard lock(guard);
    return isClosed;
}

void StreamStore::CheckOpen() const {
    if (isClosed) {
        throw DeadReference("The repository was closed.");
    }
}

void StreamStore::RemoveAll() {
    for (const auto& [stream, link] : links) {
        link->CheckNotAbandoned();
    }
    for (const auto& [stream, link] : links) {
        link->Remove();
    }
    links.clear();
    units.clear();
    repository->Clear();
}

void StreamStore::RemoveLink(const Stream* stream) {
    const auto found = links.find(stream);
    if (found != links.end()) {
        found->second->Remove();
        links.erase(found);
    }
}

template <class Visit>
void StreamStore::VisitLinks(const StreamGroup& group, Visit visit) const {
    std::vector<const StreamGroup*> open{&group};
    while (!open.empty()) {
        const StreamGroup* const next = open.back();
        open.pop_back();
        for (const Stream* const stream : next->GetAllItemPtrs()) {
            const auto found = links.find(stream);
            if (found != links.end()) {
                visit(*found->second);
            }
        }
        for (const StreamGroup* const below : next->GetAllGroupPtrs()) {
            open.push_back(below);
        }
    }
}

}  // namespace velmora::python
