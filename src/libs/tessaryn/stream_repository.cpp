// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_repository.h"

#include "tessaryn/lock_order.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/private/stream_repository_private.h"
#include "tessaryn/stream_type_repository.h"

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeSerializer;

namespace {

using Implementation = std::unique_ptr<StreamRepositoryPrivate>;

// For operations that take the repository's lock first.
auto Locking(const Implementation& implementation) {
    return LockingUse<LockRank::streamRepository, StreamRepositoryPrivate>(*implementation);
}

// For operations that take the locks of groups only.
auto LockingGroups(const Implementation& implementation) {
    return LockingUse<LockRank::streamGroup, StreamRepositoryPrivate>(*implementation);
}

}  // namespace

StreamRepository::StreamRepository() = default;

StreamRepository::StreamRepository(Poco::Logger& logger, char groupSeparator)
    : implementation(std::make_unique<StreamRepositoryPrivate>(logger, groupSeparator)) {}

StreamRepository::StreamRepository(Poco::Logger& logger, const NodeSerializer& serializer,
                                   const INode& node, const StreamTypeRepository& types)
    : StreamRepository(logger, ReadGroupSeparator(serializer, node)) {
    Fill(serializer, node, types);
}

StreamRepository::~StreamRepository() = default;

void StreamRepository::Serialize(const NodeSerializer& serializer, INode& node) const {
    LockingGroups(implementation)->Serialize(serializer, node);
}

Stream& StreamRepository::GetStream(const std::string& path) const {
    return Locking(implementation)->GetStream(path);
}

StreamGroup& StreamRepository::GetGroup(const std::string& path) const {
    return Locking(implementation)->GetGroup(path);
}

StreamGroup* StreamRepository::AddGroup(const std::string& path) {
    return LockingGroups(implementation)->AddGroup(path);
}

Stream* StreamRepository::AddStream(const std::string& path, Stream* stream) {
    return LockingGroups(implementation)->AddStream(path, std::unique_ptr<Stream>(stream));
}

Stream* StreamRepository::AddStream(const std::string& path, StreamType* type, long maxSize) {
    return LockingGroups(implementation)->AddStream(path, type, maxSize);
}

Stream* StreamRepository::AddStream(const NodeSerializer& serializer, const INode& node,
                                    const StreamTypeRepository& types) {
    const std::string path = ReadName(serializer, node);
    return LockingGroups(implementation)
        ->AddStream(path, std::make_unique<Stream>(serializer, node, types));
}

Stream* StreamRepository::GetStreamPtr(const std::string& path) const {
    return Locking(implementation)->GetItemPtr(path);
}

Stream& StreamRepository::operator[](const std::string& path) const {
    return Locking(implementation)->GetStream(path);
}

StreamGroup* StreamRepository::GetGroupPtr(const std::string& path) const {
    return Locking(implementation)->GetGroupPtr(path);
}

StreamGroup& StreamRepository::GetRoot() const {
    return Locking(implementation)->GetLockedRoot();
}

char StreamRepository::groupSeparator() const {
    return implementation->groupSeparator();
}

void StreamRepository::ForEachStream(
    const std::function<void(const std::string&, Stream&)>& visit) const {
    Locking(implementation)->ForEachItem([&](const std::string& path, Stream& stream) {
        visit(path, stream);
        return true;
    });
}

bool StreamRepository::VisitStream(const std::string& path,
                                   const std::function<void(Stream&)>& visit) const {
    return Locking(implementation)->VisitItem(path, visit);
}

std::string StreamRepository::PathOf(const Stream& stream) const {
    std::string found;
    Locking(implementation)->ForEachItem([&](const std::string& path, const Stream& other) {
        if (&other == &stream) {
            found = path;
        }
        return found.empty();
    });
    return found;
}

bool StreamRepository::IsEmpty() const {
    return implementation->GetRoot().IsEmpty();
}

bool StreamRepository::IsStreamTypeInUse(StreamType* type) const {
    return Locking(implementation)->IsStreamTypeInUse(type);
}

bool StreamRepository::IsStreamTypeInUse(StreamTypeCollection* collection) const {
    return Locking(implementation)->IsStreamTypeInUse(collection);
}

bool StreamRepository::Remove(const std::string& path) {
    return Locking(implementation)->Remove(path);
}

void StreamRepository::Clear() {
    Locking(implementation)->Clear();
}

void StreamRepository::Fill(const NodeSerializer& serializer, const INode& node,
                            const StreamTypeRepository& types) {
    Locking(implementation)->Fill(serializer, node, types);
}

}  // namespace velmora::core::tessaryn
