// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/base_type.h"
#include "tessaryn/export.h"

#include <Poco/Timestamp.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {

class StreamType;

/// One timestamped record of a stream type: a plain value, copyable and movable.
///
/// All elements lie packed in one block of bytes, entry after entry, in the machine's byte order
/// (little-endian); a table of byte offsets beside it tells where each entry begins. Entries have
/// the value type that the stream type declares and an element count of their own, which `Resize`
/// and the whole-string setter change.
///
/// Invariants:
/// 1. Entry i occupies the bytes [offset i, offset i+1); the last offset is the block's length.
/// 2. The sample remembers how many offsets it has: a stream type that is changed later does not
///    make it leave its memory.
///
/// Entries are addressed by id (`EntryId`), elements by index from 0. An id beyond the declared
/// entries is outside the contract. Every typed and whole-string set stamps the sample with the
/// current time; the text setter, `Resize` and the binary form do not. Calls from inside the class
/// to `GetSize`, `Resize` and `GetStreamType` are virtual.
///
/// The stream type must outlive the sample.
///
/// \threadsafety external: a sample in a stream is guarded by the stream
class TESSARYN_API Sample : public serialization::ISerializable {
  public:
    /// A sample without type and data, stamped now: a target for assignment only.
    Sample();

    /// A sample with all entries at their initial sizes and all bytes zero.
    /// \param type \ownership observes: must outlive the sample
    /// \param time microseconds since the Unix epoch, UTC
    /// \throws std::invalid_argument "Sample needs a valid stream type." when `type` is null
    /// \throws std::length_error when the entries' initial sizes do not fit 32 bits
    Sample(StreamType* type, const Poco::Timestamp& time);

    /// Reads a sample from its node: "TimeStamp" and the entries under "Entries".
    ///
    /// A missing or unreadable "TimeStamp", or one not after the epoch, gives the time of reading;
    /// so does any `String` entry. Entries grow to the elements given and never shrink; those that
    /// the node doesn't name keep their initial size and zeros.
    /// \param type \ownership observes: must outlive the sample
    /// \param serializer reads the values
    /// \param node the sample's node
    /// \throws std::invalid_argument, std::length_error as above
    /// \throws serialization::SerializationException when an entry lacks "Key" or "Value"
    /// \throws EntryNotFoundException when a key names no entry of the type
    Sample(StreamType* type, const serialization::Serializer<serialization::NodeRef>& serializer,
           const serialization::INode& node);

    /// Copies type, time and elements.
    /// \param other the source
    Sample(const Sample& other);
    /// Copies type, time and elements; when this throws, the sample is as it was.
    /// \param other the source
    /// \return the sample itself
    Sample& operator=(const Sample& other);
    /// Leaves `other` as a default sample, stamped now.
    /// \param other the source
    Sample(Sample&& other) noexcept;
    /// Swaps: `other` receives what this sample held.
    /// \param other the source
    /// \return the sample itself
    Sample& operator=(Sample&& other) noexcept;

    // From here to GetSize the order of the virtual operations is part of the binary interface.
    ~Sample() override;

    /// Writes "TimeStamp" and, under "Entries", key and value text of each entry.
    /// \param serializer writes the values
    /// \param node the sample's node
    void Serialize(const serialization::Serializer<serialization::NodeRef>& serializer,
                   serialization::INode& node) const override;

    /// \name Typed getters
    /// One element of an entry. The accessor's type may be narrower than the declared one (see
    /// `TypesAreCompatible`); the index is checked against the count of declared elements, but
    /// elements are then counted in the accessor's width.
    /// \throws TypeMismatchException when the entry's type does not accept the accessor's
    /// \throws std::out_of_range "Index out of range." when `index` is not below `GetSize(entry)`
    ///@{
    /// One element of an entry, as the type that the getter names.
    /// \param entry the entry's id
    /// \param index the element's index
    virtual char GetInt8(unsigned short entry, unsigned int index) const;
    /// All characters of a `String` or `Int8` entry, zero bytes included; of a wider signed entry
    /// its first `GetSize(entry)` bytes.
    /// \param entry the entry's id
    /// \throws TypeMismatchException as above
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
    /// \param entry the entry's id
    /// \param index the element's index
    /// \param text the element's text
    /// \pre `index` is below `GetSize(entry)`
    /// \throws std::runtime_error "unknown type in " for an entry of `UnknownType`
    virtual void Set(unsigned short entry, unsigned int index, const std::string& text);

    /// \name Typed setters
    /// Set one element and stamp the sample with the current time.
    /// \throws TypeMismatchException, std::out_of_range as the getters; the sample is as it was
    ///@{
    /// Sets one element of an entry, whose type has to accept the value's.
    /// \param entry the entry's id
    /// \param index the element's index
    /// \param value the element's new value
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
    /// Replaces all characters of a `String` or `Int8` entry, resizing it, and stamps the sample.
    /// \param entry the entry's id
    /// \param value the characters; zero bytes are kept
    /// \throws TypeMismatchException when the entry is neither
    /// \throws std::length_error when the sample would not fit 32 bits; it is as it was
    virtual void Set(unsigned short entry, const std::string& value);
    virtual void Set(unsigned short entry, unsigned int index, char value);
    ///@}

    /// Reads the binary form into this sample: the offsets, then the elements, in a read each.
    ///
    /// The form describes neither layout nor time: create the sample with the right stream type
    /// first. Time stamp and type stay. Nothing is refused, and errors are left in the stream's
    /// state. What a short read doesn't give stays as it was, or is zero where the total length
    /// changes; a sample gets longer only by bytes that really came, and takes memory for no more.
    /// Offsets that don't ascend or point beyond the elements are moved to where they do no harm.
    /// `CheckSample` tells beforehand whether bytes are those of a sample.
    /// \param in where to read from
    /// \throws std::bad_alloc; whatever the stream throws. The sample is then as it was.
    virtual void Deserialize(std::istream& in);
    /// Writes the binary form: all offsets, then all elements, little-endian, in one write each.
    /// \param out where to write to; errors are left in its state
    virtual void Serialize(std::ostream& out) const;
    /// Bytes of the binary form.
    /// \throws std::length_error when they don't fit 32 bits
    virtual unsigned int GetSerializedSizeInBytes() const;

    /// The record's layout; null for a default sample.
    /// \return \ownership observes
    virtual StreamType* GetStreamType() const;
    /// The id of the entry of this name.
    /// \param name the entry's name, compared exactly
    /// \throws EntryNotFoundException when there is none
    virtual unsigned short EntryId(const std::string& name) const;
    /// Changes an entry's element count: the first elements stay, new ones are zero, later entries
    /// move. A change of the count copies the sample's memory once. An entry that doesn't exist is
    /// ignored.
    /// \param entry the entry's id
    /// \param count elements from now on
    /// \throws std::length_error when the sample would not fit 32 bits; it is as it was
    virtual void Resize(unsigned short entry, unsigned int count);
    /// The entry's element count: the length of a `String`.
    /// \param entry the entry's id
    virtual unsigned int GetSize(unsigned short entry) const;

    /// As the text setter: without this a literal would silently be taken for a `bool`.
    /// \param entry the entry's id
    /// \param index the element's index
    /// \param text the element's text
    void Set(unsigned short entry, unsigned int index, const char* text) {
        Set(entry, index, std::string(text));
    }

    /// Time of the record, microseconds since the Unix epoch, UTC.
    Poco::Timestamp GetTimeStamp() const { return timestamp; }

  private:
    friend class SampleView;
    friend class Stream;

    BaseType DeclaredType(unsigned short entry) const;
    void CheckType(unsigned short entry, BaseType requested) const;
    std::size_t PositionOf(unsigned short entry, unsigned int index, BaseType requested,
                           std::size_t width) const;
    template <class T>
    T Get(unsigned short entry, unsigned int index) const;
    template <class T>
    void SetElement(unsigned short entry, unsigned int index, T value);

    unsigned int GetMemOffset(unsigned short entry) const { return offsets[entry]; }
    unsigned int GetSizeInBytes(unsigned short entry) const;
    unsigned int TotalSize() const { return numOffsets == 0 ? 0U : offsets[numOffsets - 1]; }
    void TakeOffsets(const char* table, unsigned int total);
    void ResizeInBytes(unsigned short entry, std::uint64_t bytes);
    void ChangeOffset(std::uint64_t newOffset, std::uint32_t offsetIndex);
    std::vector<std::string> GetValueArrayFromString(const std::string& text, char separator) const;
    std::string ValueText(unsigned short entry) const;
    void ReadEntry(const serialization::Serializer<serialization::NodeRef>& serializer,
                   const serialization::NodeRef& node);
    void Swap(Sample& other) noexcept;

    std::unique_ptr<char[]> data;
    std::unique_ptr<unsigned int[]> offsets;
    StreamType* streamType = nullptr;
    Poco::Timestamp timestamp;
    /// 32 bits wide: a type of 65,535 entries has 65,536 offsets.
    std::uint32_t numOffsets = 0;
};

/// The text of one element: integers and codes in decimal, `Bool` as 1 or 0, a `Float` with 6 and
/// a `Double` with 15 significant digits, an element of a `String` as the character itself. The
/// same in every locale.
/// \param sample \ownership observes: not null unless `entry` is `StreamType::invalidEntryId`
/// \param entry the entry's id; `StreamType::invalidEntryId` gives the empty text
/// \param index the element's index
/// \throws std::out_of_range when there is no such entry or element
/// \threadsafety external
TESSARYN_API std::string ToString(const Sample* sample, unsigned short entry, unsigned int index);

/// As above, for the entry of a name.
/// \param sample \ownership observes: not null
/// \param entryName the entry's name
/// \param index the element's index
/// \throws EntryNotFoundException when there is no entry of that name
/// \threadsafety external
TESSARYN_API std::string ToString(const Sample* sample, std::string entryName, unsigned int index);

}  // namespace velmora::core::tessaryn
