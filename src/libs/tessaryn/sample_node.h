// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/error_handlers.h"
#include "serializer/serializer_fwd.h"
#include "tessaryn/base_type.h"
#include "tessaryn/sample_text.h"

#include <string>
#include <vector>

namespace velmora::core::tessaryn {

class StreamType;

/// One "Entry" of a sample's node.
struct EntryValue {
    unsigned short entry = 0;
    BaseType type = UnknownType;
    std::string text;
};

/// The entries of a sample's node, in the node's order; an entry may be there more than once.
/// \throws serialization::SerializationException when "Key" or "Value" is missing
/// \throws EntryNotFoundException when a key names no entry of the type
std::vector<EntryValue> ReadEntryValues(const StreamType& type,
                                        const serialization::NodeSerializer& serializer,
                                        const serialization::INode& node,
                                        const serialization::ThrowErrorHandler& handler);

/// How many elements the text gives: texts between ";", or characters of a `String`.
/// \throws std::length_error when a `String` is longer than a sample can be
unsigned int CountElements(const EntryValue& value);

/// Sets the elements of an entry that is not a `String`, without a new time stamp.
/// \pre the entry has at least as many elements as the text
void SetElements(Sample& sample, const EntryValue& value);

/// Writes "TimeStamp" and "Entries".
void WriteSampleNode(const Sample& sample, const serialization::NodeSerializer& serializer,
                     serialization::INode& node, Digits digits);

}  // namespace velmora::core::tessaryn
