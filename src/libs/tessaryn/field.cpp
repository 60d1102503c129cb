// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/field.h"

#include "tessaryn/errors.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/stream_type.h"

#include <stdexcept>
#include <string>

namespace velmora::core::tessaryn::detail {

FieldBase::FieldBase(const StreamType& type, unsigned short entry, BaseType value)
    : type(&type), entry(entry) {
    if (entry >= type.GetNumEntries()) {
        SampleAccess::ThrowNoEntry(&type, entry);
    }
    if (type.GetType(entry) != value) {
        throw TypeMismatchException(type.GetType(entry), value);
    }
}

unsigned short FieldBase::IdOf(const StreamType& type, const std::string& name) {
    return type.EntryId(name);
}

void FieldBase::Replace(Sample& sample, std::string_view text) const {
    const std::size_t size = FindAll(sample).size();
    if (text.size() != size) {
        SampleAccess::CheckTotal(text.size());
        sample.ResizeInBytes(entry, text.size());
    }
    if (!text.empty()) {
        std::memmove(Find(sample, 0, text.size()), text.data(), text.size());
    }
}

void FieldBase::Stamp(Sample& sample) {
    SampleAccess::SetTime(sample, Poco::Timestamp());
}

void FieldBase::Refuse(const Sample& sample, unsigned int index, std::size_t width) const {
    const std::string key = type->GetEntry(entry).key;
    const StreamType* const other = SampleAccess::TypeOf(sample);
    if (other != type) {
        throw std::invalid_argument("The field '" + key + "' of stream type '" +
                                    type->GetFullName() + "' cannot access a sample " +
                                    (other == nullptr
                                         ? std::string("without a stream type.")
                                         : "of stream type '" + other->GetFullName() + "'."));
    }
    const std::size_t size = SampleAccess::BytesOf(sample, entry).second / width;
    throw std::out_of_range("Element " + std::to_string(index) + " of entry '" + key +
                            "' does not exist: it has " + std::to_string(size) + ".");
}

}  // namespace velmora::core::tessaryn::detail
