// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/stream_type_repository_private.h"

#include "tessaryn/errors.h"
#include "tessaryn/node_fields.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::Serializer;

namespace {

// Where a group's name in front of the rest may end, in ascending order: at each ".", or, of a
// text with more of them than there are groups, where one of the groups ends. Else a document
// could name a type so that the search for it takes for ever.
std::vector<std::size_t> PossibleEnds(const StreamTypeCollectionGroup& group,
                                      const std::string& rest) {
    constexpr std::ptrdiff_t fewDots = 32;
    const std::ptrdiff_t dots = std::count(rest.begin(), rest.end(), '.');
    std::vector<std::size_t> ends;
    if (dots <= fewDots || dots <= std::ssize(group.GetAllGroupPtrs())) {
        for (std::size_t dot = rest.find('.'); dot != std::string::npos;
             dot = rest.find('.', dot + 1)) {
            ends.push_back(dot);
        }
        return ends;
    }
    for (const std::string& name : group.GetGroupNames()) {
        if (rest.starts_with(name) && rest.size() > name.size() && rest[name.size()] == '.') {
            ends.push_back(name.size());
        }
    }
    std::sort(ends.begin(), ends.end());
    return ends;
}

// The collection that a full name leads to from a group down, each "." taken both for a part of a
// name and for what joins two names.
// \param isTop whether the group's own full name is empty
StreamTypeCollection* FindBelow(const StreamTypeCollectionGroup& group, const std::string& rest,
                                bool isTop) {
    StreamTypeCollection* found = group.GetItemPtr(rest);
    // An unnamed group at the top leaves no trace in the full names below it.
    const StreamTypeCollectionGroup* const unnamed = isTop ? group.GetGroupPtr("") : nullptr;
    if (found == nullptr && unnamed != nullptr) {
        found = FindBelow(*unnamed, rest, unnamed->GetName().empty());
    }
    if (found != nullptr) {
        return found;
    }
    for (const std::size_t end : PossibleEnds(group, rest)) {
        const StreamTypeCollectionGroup* const below = group.GetGroupPtr(rest.substr(0, end));
        if (below != nullptr) {
            found = FindBelow(*below, rest.substr(end + 1), isTop && below->GetName().empty());
        }
        if (found != nullptr) {
            return found;
        }
    }
    return nullptr;
}

}  // namespace

StreamTypeCollection* StreamTypeRepositoryPrivate::Repo::FindByFullName(
    const std::string& fullName) {
    const Lock lock(mutex);
    return FindBelow(GetRoot(), fullName, true);
}

StreamTypeCollection* StreamTypeRepositoryPrivate::Repo::Add(const std::string& path) {
    const std::vector<std::string> names = Split(path);
    if (names.empty()) {
        return nullptr;
    }
    StreamTypeCollectionGroup& group = AddGroups(names, names.size() - 1);
    const std::size_t last = path.rfind(groupSeparator());
    const std::string name = last == std::string::npos ? path : path.substr(last + 1);
    // The parent is there before others can find the collection. It is the group that holds it: the
    // text before the last separator may lead to another one, which may be gone before it.
    StreamTypeCollection* const stored =
        group.AddItemMove(names.back(), std::make_unique<StreamTypeCollection>(name, &group));
    // One that was read with its path for a name still had the root.
    if (stored->GetParent() != &group) {
        stored->SetParent(&group);
    }
    return stored;
}

void StreamTypeRepositoryPrivate::Repo::Fill(const Serializer<NodeRef>& serializer,
                                             const INode& node) {
    const Lock lock(mutex);
    GetRoot().Fill(serializer, node["Group"]);
}

StreamTypeRepositoryPrivate::StreamTypeRepositoryPrivate(Poco::Logger& typesLogger,
                                                         char groupSeparator)
    : repo(groupSeparator), logger(typesLogger) {
    repo.GetRoot().Add("Any")->PushNew(utils::Version::SmallestDelta());
}

StreamTypeRepositoryPrivate::~StreamTypeRepositoryPrivate() = default;

StreamTypeCollection* StreamTypeRepositoryPrivate::Add(const std::string& path) {
    return repo.Add(path);
}

StreamTypeCollection* StreamTypeRepositoryPrivate::Add(const Serializer<NodeRef>& serializer,
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
    return repo.FindByFullName(fullName);
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

void StreamTypeRepositoryPrivate::Fill(const Serializer<NodeRef>& serializer, const INode& node) {
    repo.Fill(serializer, node);
}

void StreamTypeRepositoryPrivate::Serialize(const Serializer<NodeRef>& serializer,
                                            INode& node) const {
    serializer.Serialize(node.AddNode("GroupSeparator", NodeFlags::NodeElement),
                         repo.groupSeparator(), serialization::Optional());
    NodeRef group = node.AddNode("Group", NodeFlags::NodeElement);
    repo.GetRoot().Serialize(serializer, group);
}

}  // namespace velmora::core::tessaryn
