// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_node.h"

#include "common/split.h"
#include "serializer/serializer.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/sample_access.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::Mandatory;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeSerializer;
using serialization::Optional;

std::vector<EntryValue> ReadEntryValues(const StreamType& type, const NodeSerializer& serializer,
                                        const INode& node,
                                        const serialization::ThrowErrorHandler& handler) {
    std::vector<EntryValue> values;
    for (const NodeRef& child : node["Entries"].GetNodes()) {
        std::string key;
        EntryValue value;
        serializer.Deserialize(child["Key"], key, Mandatory(), handler);
        serializer.Deserialize(child["Value"], value.text, Mandatory(), handler);
        value.entry = type.EntryId(key);
        value.type = type.GetType(value.entry);
        values.push_back(std::move(value));
    }
    return values;
}

unsigned int CountElements(const EntryValue& value) {
    if (value.type == String) {
        SampleAccess::CheckTotal(value.text.size());
        return static_cast<unsigned int>(value.text.size());
    }
    unsigned int count = 0;
    for (utils::Splitter parts(value.text, ';'); !parts.IsAtEnd(); parts.Next()) {
        ++count;
    }
    return count;
}

void SetElements(Sample& sample, const EntryValue& value) {
    unsigned int index = 0;
    std::string element;
    for (utils::Splitter parts(value.text, ';'); !parts.IsAtEnd(); ++index) {
        element = parts.Next();
        sample.Set(value.entry, index, element);
    }
}

// Takes the memory once for all sizes: an entry that grows would move all later ones.
Sample::Sample(StreamType* streamType, const NodeSerializer& serializer, const INode& node)
    : Sample(streamType, Poco::Timestamp()) {
    const auto now = static_cast<unsigned long long>(timestamp.epochMicroseconds());
    constexpr unsigned long long latest = std::numeric_limits<Poco::Timestamp::TimeVal>::max();
    unsigned long long time = now;
    serializer.Deserialize(node["TimeStamp"], time, serialization::GreaterThan(0ULL), now);
    timestamp = Poco::Timestamp(static_cast<Poco::Timestamp::TimeVal>(time > latest ? now : time));

    const std::vector<EntryValue> values =
        ReadEntryValues(*streamType, serializer, node, RaiseAndLog());
    std::vector<unsigned int> sizes = SampleAccess::SizesOf(*this);
    const std::vector<unsigned int> initialSizes = sizes;
    for (const EntryValue& value : values) {
        const unsigned int count = CountElements(value);
        sizes[value.entry] = value.type == String ? count : std::max(sizes[value.entry], count);
    }
    if (sizes != initialSizes) {
        *this = Sample(streamType, timestamp, sizes);
    }
    for (const EntryValue& value : values) {
        if (value.type != String) {
            SetElements(*this, value);
        } else if (value.text.size() == sizes[value.entry]) {
            // A text of another length is followed by the one that counts.
            Set(value.entry, value.text);
        }
    }
}

void Sample::Serialize(const NodeSerializer& serializer, INode& node) const {
    WriteSampleNode(*this, serializer, node, Digits::rounded);
}

void WriteSampleNode(const Sample& sample, const NodeSerializer& serializer, INode& node,
                     Digits digits) {
    serializer.Serialize(node.AddNode("TimeStamp", NodeFlags::NodeValue),
                         static_cast<long long>(sample.GetTimeStamp().epochMicroseconds()),
                         Optional());
    NodeRef list = node.AddNode("Entries", NodeFlags::NodeList);
    const StreamType& type = *sample.GetStreamType();
    for (unsigned short entry = 0; entry < type.GetNumEntries(); ++entry) {
        NodeRef child = list.AddNode("Entry", NodeFlags::NodeElement);
        serializer.Serialize(child.AddNode("Key", NodeFlags::NodeValue), type.GetEntry(entry).key,
                             Optional());
        serializer.Serialize(child.AddNode("Value", NodeFlags::NodeValue),
                             EntryText(sample, entry, digits), Optional());
    }
}

}  // namespace velmora::core::tessaryn
