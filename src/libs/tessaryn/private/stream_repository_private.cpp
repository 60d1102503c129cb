// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/stream_repository_private.h"

#include "tessaryn/errors.h"
#include "tessaryn/node_fields.h"

#include <utility>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeSerializer;

StreamRepositoryPrivate::StreamRepositoryPrivate(Poco::Logger& logger, char groupSeparator)
    : GenericRepo(groupSeparator), logger(logger) {}

StreamRepositoryPrivate::~StreamRepositoryPrivate() = default;

Stream* StreamRepositoryPrivate::AddStream(const std::string& path,
                                           std::unique_ptr<Stream> stream) {
    return AddItem(path, std::move(stream));
}

Stream* StreamRepositoryPrivate::AddStream(const std::string& path, StreamType* type,
                                           long maxSize) {
    Stream* const existing = FindItem(path);
    // Made before the groups, so that a refused stream adds no groups.
    return path.empty() || existing != nullptr
               ? existing
               : AddItem(path, std::make_unique<Stream>(type, maxSize));
}

Stream& StreamRepositoryPrivate::GetStream(const std::string& path) {
    Stream* const stream = GetItemPtr(path);
    if (stream == nullptr) {
        throw ItemNotFoundException(path);
    }
    return *stream;
}

StreamGroup& StreamRepositoryPrivate::GetGroup(const std::string& path) {
    StreamGroup* const group = GetGroupPtr(path);
    if (group == nullptr) {
        throw GroupNotFoundException(path);
    }
    return *group;
}

StreamGroup& StreamRepositoryPrivate::GetLockedRoot() {
    const Lock lock(mutex);
    return GetRoot();
}

bool StreamRepositoryPrivate::IsStreamTypeInUse(StreamType* type) {
    const Lock lock(mutex);
    return GetRoot().IsStreamTypeInUse(type);
}

bool StreamRepositoryPrivate::IsStreamTypeInUse(StreamTypeCollection* collection) {
    const Lock lock(mutex);
    for (StreamType* type : collection->GetAll()) {
        if (GetRoot().IsStreamTypeInUse(type)) {
            return true;
        }
    }
    return false;
}

void StreamRepositoryPrivate::Fill(const NodeSerializer& serializer, const INode& node,
                                   const StreamTypeRepository& types) {
    const Lock lock(mutex);
    GetRoot().Fill(serializer, node["Group"], types);
}

void StreamRepositoryPrivate::Serialize(const NodeSerializer& serializer, INode& node) const {
    WriteRepository(serializer, node, *this);
}

}  // namespace velmora::core::tessaryn
