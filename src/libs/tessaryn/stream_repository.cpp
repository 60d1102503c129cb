// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_repository.h"

#include "tessaryn/node_fields.h"
#include "tessaryn/private/stream_repository_private.h"
#include "tessaryn/stream_type_repository.h"

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeSerializer;

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
    implementation->Serialize(serializer, node);
}

Stream& StreamRepository::GetStream(const std::string& path) const {
    return implementation->GetStream(path);
}

StreamGroup& StreamRepository::GetGroup(const std::string& path) const {
    return implementation->GetGroup(path);
}

StreamGroup* StreamRepository::AddGroup(const std::string& path) {
    return implementation->AddGroup(path);
}

Stream* StreamRepository::AddStream(const std::string& path, Stream* stream) {
    return implementation->AddStream(path, std::unique_ptr<Stream>(stream));
}

Stream* StreamRepository::AddStream(const std::string& path, StreamType* type, long maxSize) {
    return implementation->AddStream(path, type, maxSize);
}

Stream* StreamRepository::AddStream(const NodeSerializer& serializer, const INode& node,
                                    const StreamTypeRepository& types) {
    const std::string path = ReadName(serializer, node);
    return implementation->AddStream(path, std::make_unique<Stream>(serializer, node, types));
}

Stream* StreamRepository::GetStreamPtr(const std::string& path) const {
    return implementation->GetItemPtr(path);
}

Stream& StreamRepository::operator[](const std::string& path) const {
    return implementation->GetStream(path);
}

StreamGroup* StreamRepository::GetGroupPtr(const std::string& path) const {
    return implementation->GetGroupPtr(path);
}

StreamGroup& StreamRepository::GetRoot() const {
    return implementation->GetLockedRoot();
}

char StreamRepository::groupSeparator() const {
    return implementation->groupSeparator();
}

void StreamRepository::ForEachStream(
    const std::function<void(const std::string&, Stream&)>& visit) const {
    implementation->ForEachItem([&](const std::string& path, Stream& stream) {
        visit(path, stream);
        return true;
    });
}

std::string StreamRepository::PathOf(const Stream& stream) const {
    std::string found;
    implementation->ForEachItem([&](const std::string& path, const Stream& other) {
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
    return implementation->IsStreamTypeInUse(type);
}

bool StreamRepository::IsStreamTypeInUse(StreamTypeCollection* collection) const {
    return implementation->IsStreamTypeInUse(collection);
}

bool StreamRepository::Remove(const std::string& path) {
    return implementation->Remove(path);
}

void StreamRepository::Clear() {
    implementation->Clear();
}

void StreamRepository::Fill(const NodeSerializer& serializer, const INode& node,
                            const StreamTypeRepository& types) {
    implementation->Fill(serializer, node, types);
}

}  // namespace velmora::core::tessaryn
