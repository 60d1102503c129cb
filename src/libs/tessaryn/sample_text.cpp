// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "common/split.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/value_traits.h"

#include <array>
#include <charconv>
#include <limits>
#include <type_traits>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::Mandatory;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::Optional;
using serialization::Serializer;

namespace {

template <class T>
void AppendNumber(std::string& text, T value) {
    std::array<char, 32> buffer;
    std::to_chars_result result{};
    if constexpr (std::is_floating_point_v<T>) {
        result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                               std::chars_format::general, std::numeric_limits<T>::digits10);
    } else {
        result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    }
    text.append(buffer.data(), result.ptr);
}

void AppendElement(std::string& text, const Sample& sample, unsigned short entry, BaseType type,
                   unsigned int index) {
    switch (type) {
        case UnknownType:
            return;
        case Int8:
            return AppendNumber(text, static_cast<int>(sample.GetInt8(entry, index)));
        case Int16:
            return AppendNumber(text, sample.GetInt16(entry, index));
        case Int32:
            return AppendNumber(text, sample.GetInt32(entry, index));
        case Int64:
            return AppendNumber(text, sample.GetInt64(entry, index));
        case UInt8:
            return AppendNumber(text, static_cast<unsigned int>(sample.GetUInt8(entry, index)));
        case UInt16:
            return AppendNumber(text, sample.GetUInt16(entry, index));
        case UInt32:
            return AppendNumber(text, sample.GetUInt32(entry, index));
        case UInt64:
            return AppendNumber(text, sample.GetUInt64(entry, index));
        case Float:
            return AppendNumber(text, sample.GetFloat(entry, index));
        case Double:
            return AppendNumber(text, sample.GetDouble(entry, index));
        case Bool:
            text += sample.GetBool(entry, index) ? '1' : '0';
            return;
        case String:
            text += sample.GetInt8(entry, index);
            return;
    }
}

}  // namespace

std::string ToString(const Sample* sample, unsigned short entry, unsigned int index) {
    std::string text;
    if (entry == StreamType::invalidEntryId) {
        return text;
    }
    AppendElement(text, *sample, entry, sample->GetStreamType()->GetEntry(entry).type, index);
    return text;
}

std::string ToString(const Sample* sample, std::string entryName, unsigned int index) {
    return ToString(sample, sample->GetStreamType()->EntryId(entryName), index);
}

Sample::Sample(StreamType* type, const Serializer<NodeRef>& serializer, const INode& node)
    : Sample(type, Poco::Timestamp()) {
    const auto now = static_cast<unsigned long long>(timestamp.epochMicroseconds());
    constexpr unsigned long long latest = std::numeric_limits<Poco::Timestamp::TimeVal>::max();
    unsigned long long time = now;
    serializer.Deserialize(node["TimeStamp"], time, serialization::GreaterThan(0ULL), now);
    timestamp = Poco::Timestamp(static_cast<Poco::Timestamp::TimeVal>(time > latest ? now : time));
    for (const NodeRef& child : node["Entries"].GetNodes()) {
        ReadEntry(serializer, child);
    }
}

void Sample::ReadEntry(const Serializer<NodeRef>& serializer, const NodeRef& node) {
    std::string key;
    std::string value;
    serializer.Deserialize(node["Key"], key, Mandatory(), RaiseAndLog());
    serializer.Deserialize(node["Value"], value, Mandatory(), RaiseAndLog());
    const unsigned short entry = GetStreamType()->EntryId(key);
    const BaseType type = GetStreamType()->GetType(entry);
    if (type == String) {
        return Set(entry, value);
    }

    const std::vector<std::string> texts = GetValueArrayFromString(value, ';');
    const auto count = static_cast<unsigned int>(texts.size());
    if (GetSize(entry) < count) {
        ResizeInBytes(entry, std::uint64_t{traits::ElementSize(type)} * count);
    }
    for (unsigned int i = 0; i < count; ++i) {
        Set(entry, i, texts[i]);
    }
}

void Sample::Serialize(const Serializer<NodeRef>& serializer, INode& node) const {
    serializer.Serialize(node.AddNode("TimeStamp", NodeFlags::NodeValue),
                         static_cast<long long>(timestamp.epochMicroseconds()), Optional());
    NodeRef list = node.AddNode("Entries", NodeFlags::NodeList);
    const unsigned short count = GetStreamType()->GetNumEntries();
    for (unsigned short entry = 0; entry < count; ++entry) {
        NodeRef child = list.AddNode("Entry", NodeFlags::NodeElement);
        serializer.Serialize(child.AddNode("Key", NodeFlags::NodeValue),
                             GetStreamType()->GetEntry(entry).key, Optional());
        serializer.Serialize(child.AddNode("Value", NodeFlags::NodeValue), ValueText(entry),
                             Optional());
    }
}

// The texts of all elements, joined with ";"; a string is its own text.
std::string Sample::ValueText(unsigned short entry) const {
    const BaseType type = GetStreamType()->GetType(entry);
    if (type == String) {
        return GetString(entry);
    }
    std::string text;
    const unsigned int size = GetSize(entry);
    for (unsigned int i = 0; i < size; ++i) {
        if (i != 0) {
            text += ';';
        }
        AppendElement(text, *this, entry, type, i);
    }
    return text;
}

std::vector<std::string> Sample::GetValueArrayFromString(const std::string& text,
                                                         char separator) const {
    return utils::Split(text, separator);
}

}  // namespace velmora::core::tessaryn
