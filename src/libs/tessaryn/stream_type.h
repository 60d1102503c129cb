// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/version.h"
#include "serializer/serializable.h"
#include "serializer/serializer.h"
#include "tessaryn/base_type.h"
#include "tessaryn/export.h"
#include "tessaryn/named_object.h"

#include <Poco/Checksum.h>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

namespace velmora::core::tessaryn {

/// One entry of a stream type: its name, its value type and its element count in a new sample.
struct SampleEntry {
    std::string key;               ///< unique within the type, never empty
    BaseType type = UnknownType;   ///< never `UnknownType` in an entry of a type
    unsigned int initialSize = 1;  ///< elements; characters for a `String`
};

/// One version of a record layout: an ordered list of named, typed entries.
///
/// The entries determine the byte offsets at which a `Sample` packs its elements, entry after entry
/// without padding, and the layout's hash, by which two peers check whether their samples are
/// interchangeable. An entry's index is its id. A type has no name of its own: it reports that of
/// its parent, normally the `StreamTypeCollection` of all its versions.
///
/// Invariants:
/// 1. `GetMemOffsetLookup()` has one element more than there are entries: the last is the total.
/// 2. Ids are dense from 0; removing an entry renumbers the later ones.
/// 3. There are at most 65,535 entries.
///
/// A type must outlive the samples and streams made of it, and must not change while they are
/// used. The parent must outlive the type.
///
/// \threadsafety external: changed only through its collection, under the repository's lock
class TESSARYN_API StreamType : public INamedObject, public serialization::ISerializable {
  public:
    /// The id of no entry.
    static constexpr unsigned short invalidEntryId = 0xFFFF;

    /// A type without entries and parent, of version `Version::Latest()`; its hash is "0000".
    StreamType();

    /// A type without entries.
    /// \param parent \ownership observes: gives the type its name; not null
    /// \throws std::invalid_argument when `parent` is null
    StreamType(const utils::Version& version, const INamedObject* parent);

    /// Reads a type from its node: "Version" and the entries under "Entries".
    /// \param parent \ownership observes: gives the type its name
    /// \throws serialization::SerializationException when "Version", "Entries", or an entry's "Key"
    /// or "Type" is missing or unreadable
    /// \throws std::invalid_argument for an entry that `Add` refuses, such as one whose type has an
    /// unknown name
    /// \post A missing "InitialSize" gives 1. A type read without entries has no hash.
    StreamType(const serialization::NodeSerializer& serializer, const serialization::INode& node,
               const INamedObject* parent);

    /// Copies entries, parent and version, and calculates the hash anew.
    StreamType(const StreamType& other);
    /// Copies entries, parent, version and the hash as it stands. The version is no longer that
    /// under which a collection holds this type; `StreamTypeCollection::PushCopy` makes a version
    /// from the entries of another.
    StreamType& operator=(const StreamType& other);
    ~StreamType() override;

    /// Appends an entry. Amortised constant time.
    /// \param key the entry's name: not empty, not taken. Rules can name only entries whose name
    /// `IsRuleName` accepts
    /// \param type its value type: not `UnknownType`
    /// \param initialSize elements in a new sample; 0 is allowed
    /// \throws std::invalid_argument for a key or type that is not allowed
    /// \throws std::length_error when there are 65,535 entries
    /// \post When this throws, the type is as it was.
    StreamType& Add(const std::string& key, BaseType type, unsigned int initialSize);

    /// Whether an entry has this name, compared exactly.
    bool EntryExists(const std::string& key) const;

    /// The id of the entry of this name.
    /// \param key the name, compared exactly
    /// \throws EntryNotFoundException when there is none
    unsigned short EntryId(const std::string& key) const;

    /// A copy of an entry.
    /// \throws std::out_of_range "invalid vector<T> subscript" for an id beyond the last
    SampleEntry GetEntry(unsigned short id) const;

    /// An entry's value type; `UnknownType` for an id beyond the last.
    BaseType GetType(unsigned short id) const {
        return id < entries.size() ? entries[id].type : UnknownType;
    }

    /// The names of all entries, by id.
    std::vector<std::string> GetEntryNames() const;

    /// Number of entries.
    unsigned short GetNumEntries() const { return static_cast<unsigned short>(entries.size()); }

    /// Number of entries + 1 in 16 bits: 0 for a type of 65,535 entries.
    unsigned short GetNumOffsets() const { return static_cast<unsigned short>(entries.size() + 1); }

    /// The byte offset of an entry in a new sample; of the end for the number of entries.
    /// \pre `id` is at most the number of entries
    unsigned int GetMemoryOffset(unsigned short id) const { return memOffsets[id]; }

    /// All byte offsets and the total, modulo 2^32.
    /// \return \ownership lends: until the type changes
    const std::vector<unsigned int>& GetMemOffsetLookup() const { return memOffsets; }

    /// Bytes of a new sample's elements, modulo 2^32.
    unsigned int GetInitialMemSizeInBytes() const { return memOffsets.back(); }

    /// Bytes of a new sample's elements. A sample can be made only when they fit 32 bits.
    std::uint64_t GetExactMemSizeInBytes() const { return exactSize; }

    /// The number of this state of this type, never 0: no other state of any type has it. Changes
    /// with every construction, `Add`, `Remove` and assignment, so it can be the key of a cache.
    std::uint64_t GetLayoutNumber() const { return layoutNumber; }

    /// The number of bits of a layout number: a million changes a second exhaust them after half a
    /// year.
    static constexpr unsigned int layoutNumberBits = 44;

    utils::Version GetVersion() const { return version; }

    /// The parent's name; empty without a parent.
    std::string GetName() const override;
    /// The parent's full name; empty without a parent.
    std::string GetFullName() const override;

    /// The layout's hash: the four bytes of an Adler-32 over version and keys, least significant
    /// first; raw bytes, zeros possible. Neither names of types nor value types go into it.
    std::string GetHash() const;

    /// Whether samples of a type with this hash can be read as samples of this one.
    ///
    /// True for the type's own hash. When the parent is named "ClientInfo", "DataPoint", "Command",
    /// "CommandResult", "ProxyParams" or "ConnectionStatus", also for the hashes of the same
    /// entries under the versions 1.0.0, 1.1.0 and 0.0.1.
    /// \param hash what `GetHash` gives for the other type
    bool IsHashCompatible(const std::string& hash) const;

    /// Whether the two types have entries of the same names and value types in the same order, so
    /// that samples in binary form can be exchanged. Initial sizes, versions and names do not
    /// matter. Stricter than comparing hashes, which do not depend on value types.
    bool HasSameLayout(const StreamType& other) const;

    /// Removes an entry; later ones move down by one id. Linear in the number of entries.
    /// \throws std::out_of_range when there is no entry of this id
    /// \post When this throws, the type is as it was.
    void Remove(unsigned short id);

    /// Writes "Version" and, under "Entries", key and type of each entry; initial sizes are not
    /// written.
    void Serialize(const serialization::NodeSerializer& serializer,
                   serialization::INode& node) const override;

  private:
    static std::uint64_t NextLayoutNumber();

    void Swap(StreamType& other) noexcept;
    void CreateOffsets();
    void CalculateHashKeys();
    std::vector<utils::Version> HashedVersions() const;
    std::vector<Poco::Checksum> ChecksumsWith(const std::string& key) const;

    std::vector<SampleEntry> entries;
    std::vector<unsigned int> memOffsets;
    std::vector<std::string> hashKeys;
    const INamedObject* parent;
    utils::Version version;

    // Ids by key.
    std::unordered_map<std::string, unsigned short> ids;
    // The checksums behind `hashKeys`, so that `Add` feeds only the new key; empty where the keys
    // were not calculated.
    std::vector<Poco::Checksum> checksums;
    std::uint64_t exactSize = 0;
    std::uint64_t layoutNumber = NextLayoutNumber();
};

}  // namespace velmora::core::tessaryn

namespace velmora::core::serialization {

/// Reads "Key", "InitialSize" (1 when missing or unreadable) and "Type" of an entry's node.
/// \throws SerializationException when "Key" or "Type" is missing or unreadable
/// \post The result's status is 3 when "Type" names no value type.
template <>
template <>
TESSARYN_API tessaryn::SampleEntry Serializer<NodeRef>::DeserializePrivate<tessaryn::SampleEntry>(
    NodeRef node, SerializationResult& result) const;

}  // namespace velmora::core::serialization
