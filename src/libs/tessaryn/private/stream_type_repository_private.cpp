// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/stream_type_repository_private.h"

#include "tessaryn/errors.h"
#include "tessaryn/full_name_index.h"
#include "tessaryn/node_fields.h"

#include <cstddef>
#include <memory>
#include <string>
#include <utility>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeSerializer;

StreamTypeRepositoryPrivate::StreamTypeRepositoryPrivate(Poco::Logger& logger, char groupSeparator)
    : repo(groupSeparator), logger(logger), fullNames(std::make_unique<FullNameIndex>()) {
    repo.GetRoot().Add("Any")->PushNew(utils::Version::SmallestDelta());
}

StreamTypeRepositoryPrivate::~StreamTypeRepositoryPrivate() = default;

StreamTypeCollection* StreamTypeRepositoryPrivate::Add(const std::string& path) {
    const std::size_t last = path.rfind(repo.groupSeparator());
    const std::string name = last == std::string::npos ? path : path.substr(last + 1);
    return repo.AddItem(path, [&](StreamTypeCollectionGroup& group, const std::string& key) {
        // The parent is the group that holds the collection, and is set before others can find it.
        auto added = std::make_unique<StreamTypeCollection>(name, &group);
        StreamTypeCollection* stored = nullptr;
        group.AtomicExecute([&] {
            stored = group.AddItemMove(key, std::move(added));
            // One that was read with its path for a name had the root as parent.
            if (stored->GetParent() != &group) {
                stored->SetParent(&group);
            }
        });
        return stored;
    });
}

StreamTypeCollection* StreamTypeRepositoryPrivate::Add(const NodeSerializer& serializer,
                                                       const INode& node) {
    auto collection = std::make_unique<StreamTypeCollection>(serializer, node, &repo.GetRoot());
    const std::string path = collection->GetName();
    return repo.AddItem(path, std::move(collection));
}

StreamTypeCollectionGroup* StreamTypeRepositoryPrivate::AddGroup(const std::string& path) {
    return repo.AddGroup(path);
}

StreamTypeCollection* StreamTypeRepositoryPrivate::GetPtr(const std::string& path) {
    return repo.GetItemPtr(path);
}

StreamTypeCollection& StreamTypeRepositoryPrivate::Get(const std::string& path) {
    StreamTypeCollection* const collection = repo.GetItemPtr(path);
    if (collection == nullptr) {
        throw ItemNotFoundException(path);
    }
    return *collection;
}

StreamTypeCollection* StreamTypeRepositoryPrivate::FindByFullName(const std::string& fullName) {
    StreamTypeCollection* found = nullptr;
    repo.AtomicExecute([&] { found = fullNames->Find(repo.GetRoot(), fullName); });
    return found;
}

StreamTypeCollection* StreamTypeRepositoryPrivate::ResolvePtr(const std::string& pathOrFullName) {
    StreamTypeCollection* const collection = GetPtr(pathOrFullName);
    return collection != nullptr ? collection : FindByFullName(pathOrFullName);
}

StreamTypeCollectionGroup* StreamTypeRepositoryPrivate::GetGroupPtr(const std::string& path) {
    return repo.GetGroupPtr(path);
}

StreamTypeCollectionGroup& StreamTypeRepositoryPrivate::GetGroup(const std::string& path) {
    StreamTypeCollectionGroup* const group = repo.GetGroupPtr(path);
    if (group == nullptr) {
        throw GroupNotFoundException(path);
    }
    return *group;
}

bool StreamTypeRepositoryPrivate::Remove(const std::string& path) {
    return repo.Remove(path);
}

void StreamTypeRepositoryPrivate::Clear() {
    repo.Clear();
}

void StreamTypeRepositoryPrivate::Fill(const NodeSerializer& serializer, const INode& node) {
    repo.AtomicExecute([&] { repo.GetRoot().Fill(serializer, node["Group"]); });
}

void StreamTypeRepositoryPrivate::Serialize(const NodeSerializer& serializer, INode& node) const {
    WriteRepository(serializer, node, repo);
}

}  // namespace velmora::core::tessaryn
