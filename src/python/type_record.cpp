// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "type_record.h"

#include <stdexcept>

namespace velmora::python {

using core::tessaryn::SampleEntry;
using core::tessaryn::StreamType;

TypeRecord::TypeRecord(const std::string& name, const utils::Version& version,
                       const std::vector<SampleEntry>& entries)
    : collection(name, nullptr), type(nullptr) {
    if (name.empty()) {
        throw std::invalid_argument("A stream type needs a name.");
    }
    type = &collection.Add(version);
    for (const SampleEntry& entry : entries) {
        type->Add(entry.key, entry.type, entry.initialSize);
    }
}

std::vector<SampleEntry> TypeRecord::GetEntries() const {
    return EntriesOf(*type);
}

std::string TypeRecord::Describe() const {
    return GetName() + " " + GetVersion().ToString();
}

bool TypeRecord::operator==(const TypeRecord& other) const {
    return GetName() == other.GetName() && GetVersion() == other.GetVersion() &&
           HaveSameEntries(*type, *other.type);
}

std::vector<SampleEntry> EntriesOf(const StreamType& type) {
    std::vector<SampleEntry> entries;
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        entries.push_back(type.GetEntry(id));
    }
    return entries;
}

bool HaveSameEntries(const StreamType& left, const StreamType& right) {
    if (left.GetNumEntries() != right.GetNumEntries()) {
        return false;
    }
    for (unsigned short id = 0; id < left.GetNumEntries(); ++id) {
        const SampleEntry one = left.GetEntry(id);
        const SampleEntry other = right.GetEntry(id);
        if (one.key != other.key || one.type != other.type ||
            one.initialSize != other.initialSize) {
            return false;
        }
    }
    return true;
}

}  // namespace velmora::python
