// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/document.h"

#include "serializer/document_writer.h"
#include "serializer/json_format.h"
#include "serializer/xml_format.h"
#include "tessaryn/stream_reader.h"
#include "tessaryn/stream_writer.h"

#include <utility>

namespace velmora::core::tessaryn {

using serialization::ConsumedLists;
using serialization::DocumentFormat;
using serialization::DocumentWriter;
using serialization::NodeRef;
using serialization::NodeTree;
using serialization::ReadLimits;

namespace {

void WriteDocument(const StreamTypeRepository& types, const StreamRepository& streams,
                   std::ostream& out, DocumentFormat format) {
    DocumentWriter writer(out, format);
    NodeRef typesNode = writer.GetRoot().AddNode(typesName, serialization::NodeElement);
    WriteStreamTypes(types, typesNode);
    writer.Write(typesNode);
    NodeRef streamsNode = writer.GetRoot().AddNode(streamsName, serialization::NodeElement);
    WriteStreamNodes(streams, streamsNode, &writer);
    writer.Finish();
}

Document ReadDocument(std::istream& in, const ReadLimits& limits,
                      const DocumentLimits& sampleLimits,
                      NodeTree (*read)(std::istream&, const ReadLimits&, const ConsumedLists&)) {
    SampleConsumer consumer(sampleLimits);
    const NodeTree tree = read(in, limits, {"Samples", consumer});
    const NodeRef root = tree.GetRoot();
    if (!root[typesName].Exists() && !root[streamsName].Exists()) {
        throw DocumentException("/",
                                "/: there is neither StreamTypeRepository nor StreamRepository");
    }
    Document document;
    document.types = consumer.TakeTypes(root);
    document.streams = consumer.ReadStreams(*document.types, root);
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
    WriteDocument(types, streams, out, DocumentFormat::Xml);
}

void WriteJsonDocument(const StreamTypeRepository& types, const StreamRepository& streams,
                       std::ostream& out) {
    WriteDocument(types, streams, out, DocumentFormat::Json);
}

Document ReadXmlDocument(std::istream& in, const ReadLimits& limits,
                         const DocumentLimits& sampleLimits) {
    return ReadDocument(in, limits, sampleLimits, serialization::ReadXml);
}

Document ReadJsonDocument(std::istream& in, const ReadLimits& limits,
                          const DocumentLimits& sampleLimits) {
    return ReadDocument(in, limits, sampleLimits, serialization::ReadJson);
}

}  // namespace velmora::core::tessaryn
