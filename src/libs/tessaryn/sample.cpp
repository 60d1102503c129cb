// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample.h"

#include "tessaryn/errors.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/value_traits.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <istream>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <utility>

namespace velmora::core::tessaryn {

static_assert(std::endian::native == std::endian::little,
              "elements and the binary form are little-endian");

namespace {

constexpr std::uint64_t maxTotal = std::numeric_limits<unsigned int>::max();

[[noreturn]] void ThrowTooLong(std::uint64_t bytes) {
    throw std::length_error("A sample can not hold " + std::to_string(bytes) +
                            " bytes: more than 32 bits address.");
}

void CopyBytes(void* to, const void* from, std::size_t bytes) {
    if (bytes != 0) {
        std::memcpy(to, from, bytes);
    }
}

[[noreturn]] void ThrowMismatch(BaseType declared, BaseType requested) {
    if (declared == UnknownType) {
        throw std::runtime_error("unhandled type");
    }
    throw TypeMismatchException(declared, requested);
}

const char* BytesOf(const unsigned int* table) {
    return reinterpret_cast<const char*>(table);
}

// How many bytes came.
std::size_t Read(std::istream& in, char* to, std::size_t bytes) {
    in.read(to, static_cast<std::streamsize>(bytes));
    return static_cast<std::size_t>(in.gcount());
}

// Memory to read into aside: on the stack where it is small, so that it costs nothing.
class ReadBuffer {
  public:
    explicit ReadBuffer(std::size_t size) {
        if (size > small.size()) {
            large = std::make_unique_for_overwrite<char[]>(size);
        }
    }

    char* Data() { return large ? large.get() : small.data(); }

  private:
    std::array<char, 512> small;
    std::unique_ptr<char[]> large;
};

// A block of elements whose length was promised by somebody unknown.
struct Elements {
    std::unique_ptr<char[]> bytes;
    std::size_t size;
};

// Reads `promised` bytes, in one read where it can.
//
// Memory is taken for bytes that have come, that the stream says it has, or that are so few that
// it doesn't matter. Of a short read zeros follow up to `had` bytes, which there was memory for.
Elements ReadElements(std::istream& in, std::size_t promised, std::size_t had) {
    constexpr std::size_t fewBytes = 65536;
    std::size_t size = promised;
    if (promised > std::max(fewBytes, had)) {
        const std::streamsize available = in.rdbuf() == nullptr ? 0 : in.rdbuf()->in_avail();
        const std::size_t known = available > 0 ? static_cast<std::size_t>(available) : 0;
        size = std::min(promised, std::max({fewBytes, had, known}));
    }
    auto bytes = std::make_unique_for_overwrite<char[]>(size);
    std::size_t got = Read(in, bytes.get(), size);
    const auto resize = [&](std::size_t newSize) {
        auto resized = std::make_unique_for_overwrite<char[]>(newSize);
        CopyBytes(resized.get(), bytes.get(), got);
        bytes = std::move(resized);
        size = newSize;
    };
    while (got == size && size < promised) {
        resize(std::min(promised, 2 * size));
        got += Read(in, bytes.get() + got, size - got);
    }
    if (const std::size_t kept = std::min(promised, std::max(got, had)); kept < size) {
        resize(kept);
    }
    std::memset(bytes.get() + got, 0, size - got);
    return {std::move(bytes), size};
}

}  // namespace

Sample::Sample() = default;

Sample::Sample(StreamType* type, const Poco::Timestamp& time) : streamType(type), timestamp(time) {
    if (type == nullptr) {
        throw std::invalid_argument("Sample needs a valid stream type.");
    }
    if (type->GetExactMemSizeInBytes() > maxTotal) {
        ThrowTooLong(type->GetExactMemSizeInBytes());
    }
    const std::vector<unsigned int>& initial = type->GetMemOffsetLookup();
    data = std::make_unique<char[]>(initial.back());
    offsets = std::make_unique_for_overwrite<unsigned int[]>(initial.size());
    numOffsets = static_cast<std::uint32_t>(initial.size());
    CopyBytes(offsets.get(), initial.data(), initial.size() * sizeof(unsigned int));
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
}

inline unsigned int Sample::GetSizeInBytes(unsigned short entry) const {
    // The stream type may have got an entry that this sample doesn't have.
    if (std::uint32_t{entry} + 1 >= numOffsets) {
        return 0;
    }
    return offsets[std::size_t{entry} + 1] - offsets[entry];
}

inline BaseType Sample::DeclaredType(unsigned short entry) const {
    return (IsExactSample(*this) ? streamType : GetStreamType())->GetType(entry);
}

inline void Sample::CheckType(unsigned short entry, BaseType requested) const {
    const BaseType declared = DeclaredType(entry);
    if (!traits::Accepts(declared, requested)) {
        ThrowMismatch(declared, requested);
    }
}

inline std::size_t Sample::PositionOf(unsigned short entry, unsigned int index, BaseType requested,
                                      std::size_t width) const {
    // Virtual calls are most of what an access costs.
    const bool isExact = IsExactSample(*this);
    const BaseType declared = (isExact ? streamType : GetStreamType())->GetType(entry);
    if (!traits::Accepts(declared, requested)) {
        ThrowMismatch(declared, requested);
    }
    const unsigned int size =
        isExact ? traits::ElementCount(declared, GetSizeInBytes(entry)) : GetSize(entry);
    if (index >= size) {
        throw std::out_of_range("Index out of range.");
    }
    return GetMemOffset(entry) + index * width;
}

template <class T>
inline T Sample::Get(unsigned short entry, unsigned int index) const {
    return traits::Load<T>(data.get() + PositionOf(entry, index, GetBaseType<T>(), sizeof(T)));
}

template <class T>
inline void Sample::SetElement(unsigned short entry, unsigned int index, T value) {
    traits::Store(data.get() + PositionOf(entry, index, GetBaseType<T>(), sizeof(T)), value);
    timestamp.update();
}

char Sample::GetInt8(unsigned short entry, unsigned int index) const {
    return Get<char>(entry, index);
}

std::string Sample::GetString(unsigned short entry) const {
    CheckType(entry, Int8);
    const unsigned int size = GetSize(entry);
    return size == 0 ? std::string() : std::string(data.get() + GetMemOffset(entry), size);
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
    // An element of width 0 stores nothing and only reports its type.
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
    if (value.size() > maxTotal) {
        ThrowTooLong(value.size());
    }
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
}

void Sample::Deserialize(std::istream& in) {
    // Read aside: a stream may throw.
    const std::size_t tableSize = numOffsets * sizeof(unsigned int);
    ReadBuffer table(tableSize);
    const std::size_t got = Read(in, table.Data(), tableSize);
    if (got < tableSize) {
        CopyBytes(table.Data() + got, BytesOf(offsets.get()) + got, tableSize - got);
    }
    std::size_t total = TotalSize();
    const std::size_t promised =
        numOffsets == 0
            ? 0
            : traits::Load<unsigned int>(table.Data() + tableSize - sizeof(unsigned int));
    if (promised == total) {
        ReadBuffer elements(total);
        CopyBytes(data.get(), elements.Data(), Read(in, elements.Data(), total));
    } else {
        Elements elements = ReadElements(in, promised, total);
        data = std::move(elements.bytes);
        total = elements.size;
    }
    if (tableSize == 0 || std::memcmp(table.Data(), offsets.get(), tableSize) != 0) {
        TakeOffsets(table.Data(), static_cast<unsigned int>(total));
    }
}

// Takes over a table that came from outside as far as it fits into `total` bytes: ascending, so
// that no entry leaves the memory or has a negative length.
void Sample::TakeOffsets(const char* table, unsigned int total) {
    unsigned int previous = 0;
    for (std::uint32_t i = 0; i < numOffsets; ++i) {
        const auto offset = traits::Load<unsigned int>(table + i * sizeof(unsigned int));
        previous = std::max(previous, std::min(offset, total));
        offsets[i] = previous;
    }
}

void Sample::Serialize(std::ostream& out) const {
    const auto tableSize = static_cast<std::streamsize>(numOffsets * sizeof(unsigned int));
    out.write(BytesOf(offsets.get()), tableSize);
    out.write(data.get(), TotalSize());
}

unsigned int Sample::GetSerializedSizeInBytes() const {
    const std::uint64_t size = std::uint64_t{TotalSize()} + numOffsets * sizeof(unsigned int);
    if (size > maxTotal) {
        ThrowTooLong(size);
    }
    return static_cast<unsigned int>(size);
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
    if (newTotal > maxTotal) {
        ThrowTooLong(newTotal);
    }

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
