// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "tessaryn/base_type.h"
#include "tessaryn/export.h"

#include <Poco/Timestamp.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace velmora::core::tessaryn {

class StreamType;
namespace detail {
class FieldBase;
}

/// One timestamped record of a stream type: a value, copyable and movable.
///
/// All elements lie packed in one block of bytes, entry after entry, in the machine's byte order
/// (little-endian); a table of byte offsets beside it says where each entry begins. Entries have
/// the value type that the stream type declares and an element count of their own, which `Resize`
/// and the setter of a text change.
///
/// Invariants:
/// 1. Entry i occupies the bytes [offset i, offset i+1); the last offset is the block's length.
/// 2. The sample stores its number of offsets, so that it stays within its memory when entries are
///    added to or removed from the stream type later.
///
/// Entries are addressed by id (`EntryId`), elements by index from 0. Every typed setter and the
/// setter of a `String` stamp the sample with the current time; the text setter, `Resize` and the
/// binary form do not. `Restamped` gives a sample a time of the host's own. Calls from inside the
/// class to `GetSize`, `Resize` and `GetStreamType` are virtual.
///
/// The stream type must outlive the sample.
///
/// \threadsafety external: a sample in a stream is guarded by the stream
class TESSARYN_API Sample : public serialization::ISerializable {
  public:
    /// A sample without type and data, stamped now: a target for assignment only.
    Sample();

    /// A sample with all entries at their initial sizes and all bytes zero.
    /// \param streamType \ownership observes: must outlive the sample
    /// \param timestamp microseconds since the Unix epoch, UTC
    /// \throws std::invalid_argument "Sample needs a valid stream type." when the type is null
    /// \throws std::length_error when the initial sizes exceed 2^32-1 bytes in all
    Sample(StreamType* streamType, const Poco::Timestamp& timestamp);

    /// Reads a sample from its node: "TimeStamp" and the entries under "Entries".
    ///
    /// A missing or unreadable "TimeStamp", or one not after the epoch, gives the time of reading;
    /// so does any `String` entry. Entries grow to the elements given and never shrink; those that
    /// the node does not name keep their initial size and zeros. `ReadSample` of `document_form.h`
    /// keeps times and sizes. Linear in the node's text and the sample's memory.
    /// \param streamType \ownership observes: must outlive the sample
    /// \throws std::invalid_argument, std::length_error as above
    /// \throws serialization::SerializationException when an entry lacks "Key" or "Value"
    /// \throws EntryNotFoundException when a key names no entry of the type
    Sample(StreamType* streamType, const serialization::NodeSerializer& serializer,
           const serialization::INode& node);

    Sample(const Sample& other);
    /// When this throws, the sample is as it was.
    Sample& operator=(const Sample& other);
    /// Leaves `other` as a default sample, stamped now.
    Sample(Sample&& other) noexcept;
    /// Swaps: `other` receives what this sample held.
    Sample& operator=(Sample&& other) noexcept;

    // From here to GetSize the order of the virtual operations is part of the binary interface.
    ~Sample() override;

    /// Writes "TimeStamp" and, under "Entries", key and value text of each entry. A `Float` is
    /// rounded to 6, a `Double` to 15 significant digits; `WriteSample` of `document_form.h` rounds
    /// neither.
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;

    /// \name Typed getters
    /// One element of an entry, as the type that the getter names. Use the getter of the declared
    /// type. A narrower one of the same kind (see `TypesAreCompatible`) converts nothing: it reads
    /// bytes at `index` times its own width, such as the low half of the first element. `GetNumber`
    /// of `sample_numbers.h` converts.
    /// \throws TypeMismatchException when the entry's type does not accept the accessor's
    /// \throws std::out_of_range "Index out of range." when `index` is not below `GetSize(entry)`;
    /// naming id and type when the type has no such entry
    ///@{
    virtual char GetInt8(unsigned short entry, unsigned int index) const;
    /// All characters of a `String` or `Int8` entry, zero bytes included; of a wider signed entry
    /// its first `GetSize(entry)` bytes.
    virtual std::string GetString(unsigned short entry) const;
    virtual short GetInt16(unsigned short entry, unsigned int index) const;
    virtual int GetInt32(unsigned short entry, unsigned int index) const;
    virtual long long GetInt64(unsigned short entry, unsigned int index) const;
    virtual unsigned char GetUInt8(unsigned short entry, unsigned int index) const;
    virtual unsigned short GetUInt16(unsigned short entry, unsigned int index) const;
    virtual unsigned int GetUInt32(unsigned short entry, unsigned int index) const;
    virtual unsigned long long GetUInt64(unsigned short entry, unsigned int index) const;
    virtual float GetFloat(unsigned short entry, unsigned int index) const;
    virtual double GetDouble(unsigned short entry, unsigned int index) const;
    virtual bool GetBool(unsigned short entry, unsigned int index) const;
    ///@}

    /// Sets one element from text as `SetFromString` reads it: no check of type or of the entry's
    /// bounds, no new time stamp. A position outside the sample's memory is left alone.
    /// \pre `index` is below `GetSize(entry)`
    /// \throws std::runtime_error "unknown type in " when the type has no such entry
    virtual void Set(unsigned short entry, unsigned int index, const std::string& text);

    /// \name Typed setters
    /// Set one element and stamp the sample with the current time. The C++ type of the value
    /// chooses the setter: use that of the declared type. A narrower one of the same kind converts
    /// nothing: it overwrites some of the bytes, at `index` times its own width, so that
    /// `Set(id, 0, 5)` sets half an `Int64`. `SetNumber` of `sample_numbers.h` converts.
    /// \throws TypeMismatchException, std::out_of_range as the getters; the sample is as it was
    ///@{
    virtual void Set(unsigned short entry, unsigned int index, bool value);
    virtual void Set(unsigned short entry, unsigned int index, double value);
    virtual void Set(unsigned short entry, unsigned int index, float value);
    virtual void Set(unsigned short entry, unsigned int index, unsigned long long value);
    virtual void Set(unsigned short entry, unsigned int index, unsigned int value);
    virtual void Set(unsigned short entry, unsigned int index, unsigned short value);
    virtual void Set(unsigned short entry, unsigned int index, unsigned char value);
    virtual void Set(unsigned short entry, unsigned int index, long long value);
    virtual void Set(unsigned short entry, unsigned int index, int value);
    virtual void Set(unsigned short entry, unsigned int index, short value);
    /// Replaces all characters of a `String` or `Int8` entry, zero bytes included, which resizes
    /// it.
    /// \throws TypeMismatchException when the entry is neither
    /// \throws std::length_error when the sample would exceed 2^32-1 bytes; it is as it was
    virtual void Set(unsigned short entry, const std::string& value);
    virtual void Set(unsigned short entry, unsigned int index, char value);
    ///@}

    /// Reads the binary form into this sample: the offsets, then the elements.
    ///
    /// The form describes neither layout nor time: create the sample with the right stream type
    /// first. Time stamp and type stay. Nothing is refused, and errors are left in the stream's
    /// state. Bytes that a short read does not provide stay unchanged, or are zero if the total
    /// length changes. Offsets that do not ascend or point beyond the elements are corrected so
    /// that they stay within the memory. `CheckSample` says beforehand whether bytes are those of a
    /// sample.
    ///
    /// Cost: at most two reads, and no allocation unless the total length changes. A sample grows
    /// only by received bytes: beyond 64 KiB, if the stream does not know how many it has, it grows
    /// in several reads, each of up to twice the size. While the stream is read, the sample has no
    /// entries.
    /// \throws std::bad_alloc, and what the stream throws. The sample then keeps its sizes; its
    /// elements are as they were, or in part overwritten where they take more than 512 bytes, and
    /// its sizes may change, too, where it has more than 127 entries.
    virtual void Deserialize(std::istream& in);
    /// Writes the binary form: all offsets, then all elements, little-endian, in one write each.
    /// Errors are left in the stream's state.
    virtual void Serialize(std::ostream& out) const;
    /// Bytes of the binary form.
    /// \throws std::length_error when they exceed 2^32-1
    virtual unsigned int GetSerializedSizeInBytes() const;

    /// The record's layout; null for a default sample.
    /// \return \ownership observes
    virtual StreamType* GetStreamType() const;
    /// The id of the entry of this name, compared exactly.
    /// \throws EntryNotFoundException when there is none
    virtual unsigned short EntryId(const std::string& name) const;
    /// Changes an entry's element count: the first elements stay, new ones are zero, later entries
    /// move. A change of the count copies the sample's memory once. An entry that does not exist is
    /// ignored.
    /// \throws std::length_error when the sample would exceed 2^32-1 bytes; it is as it was
    virtual void Resize(unsigned short entry, unsigned int count);
    /// The entry's element count: the length of a `String`; 0 for an entry that does not exist.
    virtual unsigned int GetSize(unsigned short entry) const;

    /// \name Setters of further C++ types
    /// Each calls the setter of the same width: `long` is `std::int64_t` on most platforms, and
    /// `signed char` is `std::int8_t`.
    ///@{
    void Set(unsigned short entry, unsigned int index, const char* text) {
        Set(entry, index, std::string(text));
    }
    void Set(unsigned short entry, unsigned int index, long value) {
        Set(entry, index, static_cast<LongValue>(value));
    }
    void Set(unsigned short entry, unsigned int index, unsigned long value) {
        Set(entry, index, static_cast<std::make_unsigned_t<LongValue>>(value));
    }
    void Set(unsigned short entry, unsigned int index, signed char value) {
        Set(entry, index, static_cast<char>(value));
    }
    ///@}

    /// Sets as many elements as there are values, from `first` on: all of them, or none. Stamps
    /// once. Writes the memory, also where a derived class overrides setters. `SetNumbers` of
    /// `sample_numbers.h` converts.
    /// \param values of the C++ type of the entry's declared type; one of the same width for a
    /// `String`, `char`
    /// \throws TypeMismatchException when the entry's type is another
    /// \throws std::out_of_range as the setters of one element; the sample is as it was
    template <class T, std::size_t count>
    void Set(unsigned short entry, unsigned int first, std::span<T, count> values) {
        SetSpan(entry, first, std::as_bytes(values), GetBaseType<std::remove_const_t<T>>());
    }

    /// \name Calls that do not compile
    /// A pointer is not a `bool`, and a number without an index is not a text.
    ///@{
    template <class T>
    requires(!std::is_same_v<std::remove_cv_t<T>, char>) void Set(unsigned short entry,
                                                                  unsigned int index,
                                                                  T* pointer) = delete;
    void Set(unsigned short entry, unsigned int index, std::nullptr_t) = delete;
    template <class T>
    requires std::is_arithmetic_v<T>
    void Set(unsigned short entry, T valueWithoutIndex) = delete;
    void Set(unsigned short entry, std::nullptr_t) = delete;
    ///@}

    /// Time of the record, microseconds since the Unix epoch, UTC.
    Poco::Timestamp GetTimeStamp() const { return timestamp; }

  private:
    class BinaryReader;
    friend class SampleAccess;
    friend class detail::FieldBase;
    friend class SampleView;

    using LongValue = std::conditional_t<sizeof(long) == sizeof(int), int, long long>;

    explicit Sample(const Poco::Timestamp& timestamp);
    Sample(StreamType* streamType, const Poco::Timestamp& timestamp,
           const std::vector<unsigned int>& sizes);

    BaseType DeclaredType(unsigned short entry) const;
    void CheckType(unsigned short entry, BaseType requested) const;
    std::size_t PositionOf(unsigned short entry, unsigned int index, BaseType requested,
                           std::size_t width) const;
    std::size_t PositionInDerived(unsigned short entry, unsigned int index, BaseType requested,
                                  std::size_t width) const;
    template <class T>
    T Get(unsigned short entry, unsigned int index) const;
    template <class T>
    void SetElement(unsigned short entry, unsigned int index, T value);

    void SetSpan(unsigned short entry, unsigned int first, std::span<const std::byte> values,
                 BaseType requested);

    unsigned int GetMemOffset(unsigned short entry) const { return offsets[entry]; }
    unsigned int GetSizeInBytes(unsigned short entry) const;
    unsigned int TotalSize() const { return numOffsets == 0 ? 0U : offsets[numOffsets - 1]; }
    void NoteStamp() const noexcept {
        if (stampMark != nullptr) {
            stampMark->store(true, std::memory_order_relaxed);
        }
    }
    void ResizeInBytes(unsigned short entry, std::uint64_t bytes);
    void ChangeOffset(std::uint64_t newOffset, std::uint32_t offsetIndex);
    void Swap(Sample& other) noexcept;

    std::unique_ptr<char[]> data;
    std::unique_ptr<unsigned int[]> offsets;
    StreamType* streamType = nullptr;
    Poco::Timestamp timestamp;
    // 32 bits wide: a type of 65,535 entries has 65,536 offsets.
    std::uint32_t numOffsets = 0;
    // Of this object, not of its value: neither copied nor swapped. Null until the sample is put
    // into a stream, which then owns it, and to which each stamp is noted here.
    std::atomic<bool>* stampMark = nullptr;
};

/// A copy with another time, such as that of the host's source. Set the entries first, since
/// setters stamp.
///
///     Sample reading(&type, Poco::Timestamp());
///     reading.Set(level, 0, 4.5);
///     stream.PushNew(new Sample(Restamped(std::move(reading), sourceTime)));
/// \param sample moved from where it is an rvalue; of a derived class only the `Sample` is taken
/// \param timestamp microseconds since the Unix epoch, UTC
/// \threadsafety external
TESSARYN_API Sample Restamped(Sample sample, const Poco::Timestamp& timestamp);

/// The text of one element: integers and codes in decimal, `Bool` as 1 or 0, a `Float` with 6 and
/// a `Double` with 15 significant digits, an element of a `String` as the character itself. The
/// same in every locale.
/// \param sample \ownership observes: not null unless `entry` is `StreamType::invalidEntryId`
/// \param entry the entry's id; `StreamType::invalidEntryId` gives the empty text
/// \throws std::out_of_range when there is no such entry, naming it and the type, or element
/// \threadsafety external
TESSARYN_API std::string ToString(const Sample* sample, unsigned short entry, unsigned int index);

/// As above, for the entry of a name.
/// \param sample \ownership observes: not null
/// \throws EntryNotFoundException when there is no entry of that name
/// \threadsafety external
TESSARYN_API std::string ToString(const Sample* sample, std::string entryName, unsigned int index);

}  // namespace velmora::core::tessaryn
