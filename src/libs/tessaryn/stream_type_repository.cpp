// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type_repository.h"

#include "tessaryn/errors.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/private/stream_type_repository_private.h"

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeSerializer;

StreamTypeRepository::StreamTypeRepository(Poco::Logger& logger, char groupSeparator)
    : implementation(std::make_unique<StreamTypeRepositoryPrivate>(logger, groupSeparator)) {}

StreamTypeRepository::StreamTypeRepository(Poco::Logger& logger, const NodeSerializer& serializer,
                                           const INode& node)
    : StreamTypeRepository(logger, ReadGroupSeparator(serializer, node)) {
    Fill(serializer, node);
}

StreamTypeRepository::~StreamTypeRepository() = default;

StreamTypeCollection* StreamTypeRepository::Add(const std::string& path) {
    return implementation->Add(path);
}

StreamTypeCollection* StreamTypeRepository::Add(const NodeSerializer& serializer,
                                                const INode& node) {
    return implementation->Add(serializer, node);
}

StreamTypeCollectionGroup* StreamTypeRepository::AddGroup(const std::string& path) {
    return implementation->AddGroup(path);
}

StreamTypeCollection* StreamTypeRepository::GetPtr(const std::string& path) const {
    return implementation->GetPtr(path);
}

StreamTypeCollection& StreamTypeRepository::Get(const std::string& path) const {
    return implementation->Get(path);
}

StreamTypeCollection& StreamTypeRepository::operator[](const std::string& path) const {
    return implementation->Get(path);
}

StreamTypeCollection* StreamTypeRepository::FindByFullName(const std::string& fullName) const {
    return implementation->FindByFullName(fullName);
}

StreamTypeCollection* StreamTypeRepository::ResolvePtr(const std::string& pathOrFullName) const {
    return implementation->ResolvePtr(pathOrFullName);
}

StreamTypeCollection& StreamTypeRepository::Resolve(const std::string& pathOrFullName) const {
    StreamTypeCollection* const collection = implementation->ResolvePtr(pathOrFullName);
    if (collection == nullptr) {
        throw ItemNotFoundException(pathOrFullName);
    }
    return *collection;
}

StreamTypeCollectionGroup* StreamTypeRepository::GetGroupPtr(const std::string& path) const {
    return implementation->GetGroupPtr(path);
}

StreamTypeCollectionGroup& StreamTypeRepository::GetGroup(const std::string& path) const {
    return implementation->GetGroup(path);
}

char StreamTypeRepository::groupSeparator() const {
    return implementation->groupSeparator();
}

StreamTypeCollectionGroup& StreamTypeRepository::GetRoot() const {
    return implementation->GetGroup("");
}

bool StreamTypeRepository::IsEmpty() const {
    return implementation->IsEmpty();
}

bool StreamTypeRepository::Remove(const std::string& path) {
    return implementation->Remove(path);
}

void StreamTypeRepository::Clear() {
    implementation->Clear();
}

void StreamTypeRepository::Fill(const NodeSerializer& serializer, const INode& node) {
    implementation->Fill(serializer, node);
}

void StreamTypeRepository::Serialize(const NodeSerializer& serializer, INode& node) const {
    implementation->Serialize(serializer, node);
}

}  // namespace velmora::core::tessaryn
