// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/error_handlers.h"
#include "serializer/rules.h"
#include "serializer/serializer.h"

#include <Poco/Logger.h>

#include <string>

/// The common parts of all objects' node forms.
namespace velmora::core::tessaryn {

/// The handler of every value that must be there: a warning to the root logger, then the exception.
inline serialization::ThrowErrorHandler RaiseAndLog() {
    return serialization::Throw(true, Poco::Logger::root());
}

/// The mandatory "Name" of a node.
/// \throws serialization::SerializationException when it is missing
inline std::string ReadName(const serialization::Serializer<serialization::NodeRef>& serializer,
                            const serialization::INode& node) {
    std::string name;
    serializer.Deserialize(node["Name"], name, serialization::Mandatory(), RaiseAndLog());
    return name;
}

inline void WriteName(const serialization::Serializer<serialization::NodeRef>& serializer,
                      serialization::INode& node, serialization::NodeFlags flags,
                      const std::string& name) {
    serializer.Serialize(node.AddNode("Name", flags), name, serialization::Optional());
}

/// The separator of a repository's node, "." where it is missing or unreadable.
inline char ReadGroupSeparator(const serialization::Serializer<serialization::NodeRef>& serializer,
                               const serialization::INode& node) {
    char separator = '.';
    serializer.Deserialize(node["GroupSeparator"], separator, serialization::Mandatory(), '.');
    return separator;
}

/// Writes the parts of both repositories: "GroupSeparator" and the root group under "Group".
template <class Repo>
void WriteRepository(const serialization::NodeSerializer& serializer, serialization::INode& node,
                     const Repo& repo) {
    serializer.Serialize(node.AddNode("GroupSeparator", serialization::NodeElement),
                         repo.groupSeparator(), serialization::Optional());
    serialization::NodeRef group = node.AddNode("Group", serialization::NodeElement);
    repo.GetRoot().Serialize(serializer, group);
}

}  // namespace velmora::core::tessaryn
