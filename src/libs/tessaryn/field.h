// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_numbers.h"

#include <Poco/Timestamp.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace velmora::core::tessaryn {

class StreamType;

/// A C++ type that a `Field` reads and writes: a `SampleNumber` or `std::string`.
template <class T>
concept FieldValue = SampleNumber<T> || std::is_same_v<T, std::string>;

namespace detail {

/// What fields of all C++ types have in common: the entry, and the way to its memory.
///
/// \threadsafety immutable
class TESSARYN_API FieldBase {
  public:
    /// The entry's id.
    unsigned short GetEntry() const { return entry; }
    /// The stream type whose samples the field accesses.
    /// \return \ownership observes
    const StreamType& GetType() const { return *type; }
    /// The time of a sample of any type, in microseconds since the Unix epoch.
    static Poco::Timestamp::TimeVal TimeOf(const Sample& sample) {
        return sample.timestamp.epochMicroseconds();
    }

  protected:
    FieldBase(const StreamType& type, unsigned short entry, BaseType value);

    /// \throws std::invalid_argument when the sample is not of the field's type
    /// \throws std::out_of_range when it has no such element
    const char* Find(const Sample& sample, unsigned int index, std::size_t width) const {
        if (sample.streamType == type && std::uint32_t{entry} + 1 < sample.numOffsets) {
            const std::uint64_t begin = sample.offsets[entry] + std::uint64_t{index} * width;
            if (begin + width <= sample.offsets[std::size_t{entry} + 1]) {
                return sample.data.get() + begin;
            }
        }
        Refuse(sample, index, width);
    }
    char* Find(Sample& sample, unsigned int index, std::size_t width) const {
        return const_cast<char*>(Find(std::as_const(sample), index, width));
    }
    std::string_view FindAll(const Sample& sample) const {
        if (sample.streamType != type || std::uint32_t{entry} + 1 >= sample.numOffsets) {
            Refuse(sample, 0, 1);
        }
        const unsigned int begin = sample.offsets[entry];
        return {sample.data.get() + begin, sample.offsets[std::size_t{entry} + 1] - begin};
    }
    void Replace(Sample& sample, std::string_view text) const;
    static void Stamp(Sample& sample);

    /// The id of the entry of a name.
    static unsigned short IdOf(const StreamType& type, const std::string& name);

  private:
    [[noreturn]] void Refuse(const Sample& sample, unsigned int index, std::size_t width) const;

    const StreamType* type;
    unsigned short entry;
};

}  // namespace detail

/// Reads and writes one entry of the samples of one stream type. Type and name are checked when the
/// field is made, so that an access takes neither a look-up nor a virtual call.
///
///     const Field<double> temperature(type, "temperature");
///     const double now = temperature(sample);
///     temperature.Set(sample, 21.5);
///
/// A field reads and writes the sample's memory, also where a derived class overrides getters and
/// setters. A sample of another stream type is refused, one of another version or with an equal
/// layout included.
///
/// The stream type must outlive the field, and must not change while it is used.
///
/// \tparam T the C++ type of the entry's declared type: `double` for `Double`, `int` for `Int32`,
/// `long` for the signed integer of its width. `std::string` for `String`: see there.
/// \threadsafety immutable: the samples are guarded as otherwise
template <FieldValue T>
class Field : public detail::FieldBase {
  public:
    /// \throws EntryNotFoundException when there is no entry of the name
    /// \throws TypeMismatchException when its declared type is not that of `T`; none is converted
    Field(const StreamType& streamType, const std::string& name)
        : Field(streamType, IdOf(streamType, name)) {}
    /// \throws std::out_of_range when there is no entry of the id
    /// \throws TypeMismatchException as above
    Field(const StreamType& streamType, unsigned short id)
        : FieldBase(streamType, id, detail::NumberType<T>()) {}

    /// One element.
    /// \throws std::invalid_argument when the sample is of another stream type, or of none
    /// \throws std::out_of_range, naming entry and element, when it has no such element
    T operator()(const Sample& sample, unsigned int index = 0) const {
        const char* const element = Find(sample, index, sizeof(T));
        if constexpr (std::is_same_v<T, bool>) {
            // A byte that was read from a stream may be neither 0 nor 1.
            return *element != 0;
        } else {
            T value;
            std::memcpy(&value, element, sizeof value);
            return value;
        }
    }

    /// How many elements the sample has.
    /// \throws std::invalid_argument as above
    std::size_t GetSize(const Sample& sample) const { return FindAll(sample).size() / sizeof(T); }

    /// Sets the first element and stamps the sample with the current time, as the setters of
    /// `Sample` do.
    /// \throws std::invalid_argument, std::out_of_range as above; the sample is as it was
    void Set(Sample& sample, T value) const { Set(sample, 0, value); }
    /// Sets one element and stamps the sample.
    /// \throws as above
    void Set(Sample& sample, unsigned int index, T value) const {
        SetKeepingTime(sample, index, value);
        Stamp(sample);
    }

    /// Sets the first element and leaves the time stamp: for samples with a time of the host's own.
    /// Reads no clock.
    /// \throws as above
    void SetKeepingTime(Sample& sample, T value) const { SetKeepingTime(sample, 0, value); }
    /// Sets one element and leaves the time stamp.
    /// \throws as above
    void SetKeepingTime(Sample& sample, unsigned int index, T value) const {
        std::memcpy(Find(sample, index, sizeof(T)), &value, sizeof value);
    }
};

/// A field of a `String`: its elements are the characters of one text.
///
/// \threadsafety immutable: the samples are guarded as otherwise
template <>
class Field<std::string> : public detail::FieldBase {
  public:
    /// \throws EntryNotFoundException, TypeMismatchException as the other fields
    Field(const StreamType& streamType, const std::string& name)
        : Field(streamType, IdOf(streamType, name)) {}
    /// \throws std::out_of_range, TypeMismatchException as the other fields
    Field(const StreamType& streamType, unsigned short id) : FieldBase(streamType, id, String) {}

    /// The text.
    /// \return \ownership lends: until the sample changes
    /// \throws std::invalid_argument when the sample is of another stream type, or of none
    std::string_view operator()(const Sample& sample) const { return FindAll(sample); }

    /// Replaces the text and stamps the sample with the current time.
    /// \throws std::invalid_argument as above
    /// \throws std::length_error when the sample would exceed 2^32-1 bytes; it is as it was
    void Set(Sample& sample, std::string_view text) const {
        Replace(sample, text);
        Stamp(sample);
    }
    /// Replaces the text and leaves the time stamp.
    /// \throws as above
    void SetKeepingTime(Sample& sample, std::string_view text) const { Replace(sample, text); }
};

}  // namespace velmora::core::tessaryn
