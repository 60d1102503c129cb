// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample.h"

#include "tessaryn/errors.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/value_traits.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace velmora::core::tessaryn {

static_assert(std::endian::native == std::endian::little,
              "elements and the binary form are little-endian");

namespace {

void CopyBytes(void* to, const void* from, std::size_t bytes) {
    if (bytes != 0) {
        std::memcpy(to, from, bytes);
    }
}

[[noreturn]] void ThrowNoElement() {
    throw std::out_of_range("Index out of range.");
}

// Why the type of an entry does not accept an accessor's.
[[noreturn]] void ThrowNoAccess(const StreamType* type, unsigned short entry, BaseType requested) {
    if (type == nullptr || entry >= type->GetNumEntries()) {
        SampleAccess::ThrowNoEntry(type, entry);
    }
    throw TypeMismatchException(type->GetType(entry), requested);
}

}  // namespace

Sample::Sample() = default;

Sample::Sample(const Poco::Timestamp& timestamp) : timestamp(timestamp) {}

Sample::Sample(StreamType* streamType, const Poco::Timestamp& timestamp)
    : streamType(streamType), timestamp(timestamp) {
    if (streamType == nullptr) {
        throw std::invalid_argument("Sample needs a valid stream type.");
    }
    SampleAccess::CheckTotal(streamType->GetExactMemSizeInBytes());
    const std::vector<unsigned int>& initial = streamType->GetMemOffsetLookup();
    data = std::make_unique<char[]>(initial.back());
    offsets = std::make_unique_for_overwrite<unsigned int[]>(initial.size());
    numOffsets = static_cast<std::uint32_t>(initial.size());
    CopyBytes(offsets.get(), initial.data(), initial.size() * sizeof(unsigned int));
}

Sample::Sample(StreamType* streamType, const Poco::Timestamp& timestamp,
               const std::vector<unsigned int>& sizes)
    : streamType(streamType), timestamp(timestamp) {
    SampleAccess::CheckTotal(SampleAccess::BytesOfElements(*streamType, sizes));
    offsets = std::make_unique<unsigned int[]>(sizes.size() + 1);
    numOffsets = static_cast<std::uint32_t>(sizes.size() + 1);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const BaseType type = streamType->GetType(static_cast<unsigned short>(i));
        offsets[i + 1] = offsets[i] + traits::ElementSize(type) * sizes[i];
    }
    data = std::make_unique<char[]>(TotalSize());
}

Sample::Sample(const Sample& other)
    : ISerializable(other),
      streamType(other.streamType),
      timestamp(other.timestamp),
      numOffsets(other.numOffsets) {
    if (!other.offsets) {
        return;
    }
    const unsigned int total = other.TotalSize();
    data = std::make_unique_for_overwrite<char[]>(total);
    offsets = std::make_unique_for_overwrite<unsigned int[]>(numOffsets);
    CopyBytes(data.get(), other.data.get(), total);
    CopyBytes(offsets.get(), other.offsets.get(), numOffsets * sizeof(unsigned int));
}

Sample& Sample::operator=(const Sample& other) {
    if (this != &other) {
        Sample copy(other);
        Swap(copy);
    }
    return *this;
}

Sample::Sample(Sample&& other) noexcept : ISerializable(other) {
    Swap(other);
}

Sample& Sample::operator=(Sample&& other) noexcept {
    Swap(other);
    return *this;
}

Sample::~Sample() = default;

void Sample::Swap(Sample& other) noexcept {
    data.swap(other.data);
    offsets.swap(other.offsets);
    std::swap(streamType, other.streamType);
    timestamp.swap(other.timestamp);
    std::swap(numOffsets, other.numOffsets);
    NoteStamp();
    other.NoteStamp();
}

Sample Restamped(Sample sample, const Poco::Timestamp& timestamp) {
    SampleAccess::SetTime(sample, timestamp);
    return sample;
}

inline unsigned int Sample::GetSizeInBytes(unsigned short entry) const {
    // The stream type may have got an entry that this sample does not have.
    if (std::uint32_t{entry} + 1 >= numOffsets) {
        return 0;
    }
    return offsets[std::size_t{entry} + 1] - offsets[entry];
}

inline BaseType Sample::DeclaredType(unsigned short entry) const {
    const StreamType* const type = IsExactSample(*this) ? streamType : GetStreamType();
    return type == nullptr ? UnknownType : type->GetType(entry);
}

inline void Sample::CheckType(unsigned short entry, BaseType requested) const {
    if (!traits::Accepts(DeclaredType(entry), requested)) {
        ThrowNoAccess(GetStreamType(), entry, requested);
    }
}

inline std::size_t Sample::PositionOf(unsigned short entry, unsigned int index, BaseType requested,
                                      std::size_t width) const {
    // Virtual calls are most of what an access costs.
    if (!IsExactSample(*this)) {
        return PositionInDerived(entry, index, requested, width);
    }
    // A sample that has offsets has a type.
    if (std::uint32_t{entry} + 1 < numOffsets) {
        const BaseType declared = streamType->GetType(entry);
        const unsigned int begin = offsets[entry];
        const unsigned int bytes = offsets[std::size_t{entry} + 1] - begin;
        if (traits::Accepts(declared, requested) && index < traits::ElementCount(declared, bytes)) {
            return begin + index * width;
        }
    }
    CheckType(entry, requested);
    ThrowNoElement();
}

// A derived class may override its sizes, so the memory has to be checked as well.
std::size_t Sample::PositionInDerived(unsigned short entry, unsigned int index, BaseType requested,
                                      std::size_t width) const {
    CheckType(entry, requested);
    if (index >= GetSize(entry) || std::uint32_t{entry} + 1 >= numOffsets) {
        ThrowNoElement();
    }
    const std::size_t position = GetMemOffset(entry) + index * width;
    if (position + width > TotalSize()) {
        ThrowNoElement();
    }
    return position;
}

template <class T>
inline T Sample::Get(unsigned short entry, unsigned int index) const {
    return traits::Load<T>(data.get() + PositionOf(entry, index, GetBaseType<T>(), sizeof(T)));
}

template <class T>
inline void Sample::SetElement(unsigned short entry, unsigned int index, T value) {
    traits::Store(data.get() + PositionOf(entry, index, GetBaseType<T>(), sizeof(T)), value);
    timestamp.update();
    NoteStamp();
}

char Sample::GetInt8(unsigned short entry, unsigned int index) const {
    return Get<char>(entry, index);
}

std::string Sample::GetString(unsigned short entry) const {
    CheckType(entry, Int8);
    const unsigned int size = GetSize(entry);
    if (size == 0) {
        return {};
    }
    // A derived class may have returned a size beyond the memory.
    if (std::uint32_t{entry} + 1 >= numOffsets || size > TotalSize() - GetMemOffset(entry)) {
        ThrowNoElement();
    }
    return {data.get() + GetMemOffset(entry), size};
}

short Sample::GetInt16(unsigned short entry, unsigned int index) const {
    return Get<short>(entry, index);
}

int Sample::GetInt32(unsigned short entry, unsigned int index) const {
    return Get<int>(entry, index);
}

long long Sample::GetInt64(unsigned short entry, unsigned int index) const {
    return Get<long long>(entry, index);
}

unsigned char Sample::GetUInt8(unsigned short entry, unsigned int index) const {
    return Get<unsigned char>(entry, index);
}

unsigned short Sample::GetUInt16(unsigned short entry, unsigned int index) const {
    return Get<unsigned short>(entry, index);
}

unsigned int Sample::GetUInt32(unsigned short entry, unsigned int index) const {
    return Get<unsigned int>(entry, index);
}

unsigned long long Sample::GetUInt64(unsigned short entry, unsigned int index) const {
    return Get<unsigned long long>(entry, index);
}

float Sample::GetFloat(unsigned short entry, unsigned int index) const {
    return Get<float>(entry, index);
}

double Sample::GetDouble(unsigned short entry, unsigned int index) const {
    return Get<double>(entry, index);
}

bool Sample::GetBool(unsigned short entry, unsigned int index) const {
    return Get<bool>(entry, index);
}

void Sample::Set(unsigned short entry, unsigned int index, const std::string& text) {
    const BaseType declared = DeclaredType(entry);
    const std::uint64_t width = traits::ElementSize(declared);
    // An element of size 0 stores nothing: the call only reports the type.
    if (width == 0) {
        return SetFromString(declared, text, nullptr);
    }
    if (std::uint32_t{entry} + 1 >= numOffsets) {
        return;
    }
    const std::uint64_t position = GetMemOffset(entry) + index * width;
    if (position + width <= TotalSize()) {
        SetFromString(declared, text, data.get() + position);
    }
}

void Sample::Set(unsigned short entry, unsigned int index, bool value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, double value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, float value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, unsigned long long value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, unsigned int value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, unsigned short value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, unsigned char value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, long long value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, int value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, short value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, unsigned int index, char value) {
    SetElement(entry, index, value);
}

void Sample::Set(unsigned short entry, const std::string& value) {
    CheckType(entry, String);
    SampleAccess::CheckTotal(value.size());
    if (!IsExactSample(*this) || value.size() != GetSizeInBytes(entry)) {
        Resize(entry, static_cast<unsigned int>(value.size()));
    }
    if (std::uint32_t{entry} + 1 >= numOffsets) {
        return;
    }
    // An overridden Resize may have left less room.
    CopyBytes(data.get() + GetMemOffset(entry), value.data(),
              std::min<std::size_t>(value.size(), GetSizeInBytes(entry)));
    timestamp.update();
    NoteStamp();
}

void Sample::SetSpan(unsigned short entry, unsigned int first, std::span<const std::byte> values,
                     BaseType requested) {
    CheckType(entry, requested);
    const std::size_t width = traits::ElementSize(requested);
    if (traits::ElementSize(DeclaredType(entry)) != width) {
        throw TypeMismatchException(DeclaredType(entry), requested);
    }
    const std::uint64_t begin = std::uint64_t{first} * width;
    if (begin + values.size() > GetSizeInBytes(entry)) {
        ThrowNoElement();
    }
    CopyBytes(data.get() + GetMemOffset(entry) + begin, values.data(), values.size());
    timestamp.update();
    NoteStamp();
}

StreamType* Sample::GetStreamType() const {
    return streamType;
}

unsigned short Sample::EntryId(const std::string& name) const {
    return GetStreamType()->EntryId(name);
}

void Sample::Resize(unsigned short entry, unsigned int count) {
    const unsigned int width = traits::ElementSize(DeclaredType(entry));
    // The stream type may have lost the entry since.
    if (width != 0) {
        ResizeInBytes(entry, std::uint64_t{width} * count);
    }
}

unsigned int Sample::GetSize(unsigned short entry) const {
    return traits::ElementCount(DeclaredType(entry), GetSizeInBytes(entry));
}

void Sample::ResizeInBytes(unsigned short entry, std::uint64_t bytes) {
    if (std::uint32_t{entry} + 1 >= numOffsets) {
        return;
    }
    ChangeOffset(GetMemOffset(entry) + bytes, std::uint32_t{entry} + 1);
}

// Moves the end of the entry before `offsetIndex`, and with it all later entries.
void Sample::ChangeOffset(std::uint64_t newOffset, std::uint32_t offsetIndex) {
    if (offsetIndex == 0 || offsetIndex >= numOffsets) {
        return;
    }
    if (newOffset < offsets[offsetIndex - 1]) {
        return;
    }
    const std::uint64_t oldTotal = TotalSize();
    const std::uint64_t oldOffset = offsets[offsetIndex];
    if (newOffset == oldOffset) {
        return;
    }
    const std::uint64_t tail = oldTotal - oldOffset;
    const std::uint64_t newTotal = newOffset + tail;
    SampleAccess::CheckTotal(newTotal);

    auto moved = std::make_unique<char[]>(newTotal);
    CopyBytes(moved.get(), data.get(), std::min(newOffset, oldOffset));
    CopyBytes(moved.get() + newOffset, data.get() + oldOffset, tail);
    data = std::move(moved);
    const auto delta = static_cast<unsigned int>(newOffset - oldOffset);
    for (std::uint32_t i = offsetIndex; i < numOffsets; ++i) {
        offsets[i] += delta;
    }
}

}  // namespace velmora::core::tessaryn
