// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/document.h"

#include "serializer/json_format.h"
#include "serializer/xml_format.h"

#include <utility>

namespace velmora::core::tessaryn {

using serialization::NodeRef;
using serialization::NodeTree;
using serialization::ReadLimits;

namespace {

constexpr const char* typesNode = "StreamTypeRepository";
constexpr const char* streamsNode = "StreamRepository";

NodeTree ToTree(const StreamTypeRepository& types, const StreamRepository& streams) {
    NodeTree tree;
    NodeRef typesRoot = tree.GetRoot().AddNode(typesNode, serialization::NodeElement);
    WriteStreamTypes(types, typesRoot);
    NodeRef streamsRoot = tree.GetRoot().AddNode(streamsNode, serialization::NodeElement);
    WriteStreams(streams, streamsRoot);
    return tree;
}

Document FromTree(const NodeTree& tree, const DocumentLimits& limits) {
    const NodeRef root = tree.GetRoot();
    if (!root[typesNode].Exists() && !root[streamsNode].Exists()) {
        throw DocumentException("/",
                                "/: there is neither StreamTypeRepository nor StreamRepository");
    }
    Document document;
    document.types = ReadStreamTypes(root[typesNode]);
    document.streams = ReadStreams(*document.types, root[streamsNode], limits);
    return document;
}

}  // namespace

Document::Document() = default;

Document::Document(std::unique_ptr<StreamTypeRepository> types,
                   std::unique_ptr<StreamRepository> streams)
    : types(std::move(types)), streams(std::move(streams)) {}

Document::Document(Document&&) noexcept = default;

Document& Document::operator=(Document&& other) noexcept {
    streams = std::move(other.streams);
    types = std::move(other.types);
    return *this;
}

Document::~Document() = default;

void WriteXmlDocument(const StreamTypeRepository& types, const StreamRepository& streams,
                      std::ostream& out) {
    WriteXml(ToTree(types, streams), out);
}

void WriteJsonDocument(const StreamTypeRepository& types, const StreamRepository& streams,
                       std::ostream& out) {
    WriteJson(ToTree(types, streams), out);
}

Document ReadXmlDocument(std::istream& in, const ReadLimits& limits,
                         const DocumentLimits& sampleLimits) {
    return FromTree(serialization::ReadXml(in, limits), sampleLimits);
}

Document ReadJsonDocument(std::istream& in, const ReadLimits& limits,
                          const DocumentLimits& sampleLimits) {
    return FromTree(serialization::ReadJson(in, limits), sampleLimits);
}

}  // namespace velmora::core::tessaryn
