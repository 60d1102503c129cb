// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/field.h"
#include "tessaryn/stream_type.h"

#include <cstddef>
#include <string_view>

namespace velmora::python {

/// The bytes of one entry of any value type, in samples of one stream type.
///
/// The stream type must outlive it.
///
/// \threadsafety immutable
class EntryAccess : private core::tessaryn::detail::FieldBase {
  public:
    using BaseType = core::tessaryn::BaseType;
    using Sample = core::tessaryn::Sample;

    EntryAccess(const core::tessaryn::StreamType& type, unsigned short id)
        : FieldBase(type, id, type.GetType(id)),
          valueType(type.GetType(id)),
          width(SizeOf(valueType)),
          size(type.GetEntry(id).initialSize) {}

    using FieldBase::GetEntry;
    using FieldBase::GetType;
    /// The time of a sample of any type. Avoids copying a Poco::Timestamp, which is a function
    /// call.
    using FieldBase::TimeOf;

    BaseType GetValueType() const { return valueType; }
    bool IsText() const { return valueType == core::tessaryn::String; }
    /// Bytes of an element.
    std::size_t GetWidth() const { return width; }
    /// Elements in a new sample; 0 if the number varies.
    unsigned int GetSize() const { return size; }
    /// Whether the entry is a single number, not an array or a text.
    bool IsScalar() const { return size == 1 && !IsText(); }

    /// The elements of a sample.
    /// \throws std::invalid_argument when the sample is of another type
    std::string_view BytesOf(const Sample& sample) const { return FindAll(sample); }
    /// The same, for writing.
    char* ElementsOf(Sample& sample) const { return const_cast<char*>(FindAll(sample).data()); }
    /// Replaces the text of a `String`, without changing the time.
    void SetText(Sample& sample, std::string_view text) const { Replace(sample, text); }

  private:
    BaseType valueType;
    std::size_t width;
    unsigned int size;
};

}  // namespace velmora::python
