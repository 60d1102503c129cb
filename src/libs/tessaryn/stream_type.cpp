// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type.h"

#include "tessaryn/errors.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/value_traits.h"

#include <Poco/Format.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>
#include <utility>

namespace velmora::core::serialization {

template <>
template <>
tessaryn::SampleEntry Serializer<NodeRef>::DeserializePrivate<tessaryn::SampleEntry>(
    NodeRef node, SerializationResult& result) const {
    const ThrowErrorHandler raise = tessaryn::RaiseAndLog();
    tessaryn::SampleEntry entry;
    Deserialize(node["Key"], entry.key, Mandatory(), raise);
    Deserialize(node["InitialSize"], entry.initialSize, Mandatory(), 1U);
    std::string type;
    Deserialize(node["Type"], type, Mandatory(), raise);
    entry.type = tessaryn::GetTypeFromString(type);
    if (entry.type == tessaryn::UnknownType) {
        result.status = 3;
    }
    return entry;
}

}  // namespace velmora::core::serialization

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::Mandatory;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeSerializer;
using serialization::Optional;
using utils::Version;

namespace {

// Types of these names accept the hashes of their fixed versions, too.
constexpr const char* wellKnownNames[] = {"ClientInfo",    "DataPoint",   "Command",
                                          "CommandResult", "ProxyParams", "ConnectionStatus"};

constexpr const char* fixedVersions[] = {"1.0.0", "1.1.0", "0.0.1"};

constexpr std::size_t maxEntries = 65535;

std::uint64_t BytesOf(const SampleEntry& entry) {
    return std::uint64_t{traits::ElementSize(entry.type)} * entry.initialSize;
}

// The texts go into the checksum as bytes: a key may hold anything, "%" and NUL included.
void FeedKey(Poco::Checksum& checksum, const std::string& key) {
    checksum.update(" Key  " + key + " TypeId [ERRFMT]");
}

std::string HashKey(const Poco::Checksum& checksum) {
    const Poco::UInt32 value = checksum.checksum();
    std::string key(4, '\0');
    for (unsigned int i = 0; i < 4; ++i) {
        key[i] = static_cast<char>((value >> (8 * i)) & 0xFFU);
    }
    return key;
}

std::vector<std::string> HashKeys(const std::vector<Poco::Checksum>& checksums) {
    std::vector<std::string> keys;
    keys.reserve(checksums.size());
    for (const Poco::Checksum& checksum : checksums) {
        keys.push_back(HashKey(checksum));
    }
    return keys;
}

}  // namespace

StreamType::StreamType()
    : memOffsets(1, 0U), hashKeys(1, "0000"), parent(nullptr), version(Version::Latest()) {}

StreamType::StreamType(const Version& version, const INamedObject* parent)
    : memOffsets(1, 0U), parent(parent), version(version) {
    if (parent == nullptr) {
        throw std::invalid_argument("StreamType must have a valid parent object.");
    }
    CalculateHashKeys();
}

StreamType::StreamType(const NodeSerializer& serializer, const INode& node,
                       const INamedObject* parent)
    : memOffsets(1, 0U), parent(parent) {
    serializer.Deserialize(node["Version"], version, Mandatory(), RaiseAndLog());
    const NodeRef list = node["Entries"];
    serializer.Test(list, serialization::Exist(), RaiseAndLog());
    for (const NodeRef& child : list.GetNodes()) {
        serialization::SerializationResult result;
        const auto entry = serializer.DeserializePrivate<SampleEntry>(child, result);
        Add(entry.key, entry.type, entry.initialSize);
    }
}

StreamType::StreamType(const StreamType& other)
    : INamedObject(other),
      ISerializable(other),
      entries(other.entries),
      memOffsets(other.memOffsets),
      parent(other.parent),
      version(other.version),
      ids(other.ids),
      exactSize(other.exactSize) {
    CalculateHashKeys();
}

StreamType& StreamType::operator=(const StreamType& other) {
    if (this == &other) {
        return *this;
    }
    StreamType copy(other);
    copy.hashKeys = other.hashKeys;
    copy.checksums = other.checksums;
    Swap(copy);
    return *this;
}

StreamType::~StreamType() = default;

StreamType& StreamType::Add(const std::string& key, BaseType type, unsigned int initialSize) {
    if (key.empty() || type == UnknownType || EntryExists(key)) {
        throw std::invalid_argument(
            Poco::format("Could not create entry with the given arguments: Key: '%s', base type: "
                         "'%s'",
                         key, ToString(type)));
    }
    if (entries.size() >= maxEntries) {
        throw std::length_error("A stream type cannot have more than 65535 entries: '" + key + "'");
    }
    // Everything that may throw comes before the first change.
    SampleEntry entry{key, type, initialSize};
    std::vector<Poco::Checksum> sums = ChecksumsWith(key);
    std::vector<std::string> keys = HashKeys(sums);
    const std::size_t wanted = entries.size() + 1;
    if (entries.capacity() < wanted) {
        entries.reserve(2 * wanted);
    }
    if (memOffsets.capacity() <= wanted) {
        memOffsets.reserve(2 * wanted + 1);
    }
    ids.emplace(key, static_cast<unsigned short>(entries.size()));

    const std::uint64_t bytes = BytesOf(entry);
    entries.push_back(std::move(entry));
    memOffsets.push_back(memOffsets.back() + static_cast<unsigned int>(bytes));
    exactSize += bytes;
    checksums.swap(sums);
    hashKeys.swap(keys);
    layoutNumber = NextLayoutNumber();
    return *this;
}

bool StreamType::EntryExists(const std::string& key) const {
    return ids.find(key) != ids.end();
}

unsigned short StreamType::EntryId(const std::string& key) const {
    const auto place = ids.find(key);
    if (place == ids.end()) {
        throw EntryNotFoundException(Poco::format(
            "Entry with name '%s' does not exist in stream type '%s' with version '%s'.", key,
            GetName(), version.ToString()));
    }
    return place->second;
}

SampleEntry StreamType::GetEntry(unsigned short id) const {
    if (id >= entries.size()) {
        throw std::out_of_range("invalid vector<T> subscript");
    }
    return entries[id];
}

std::vector<std::string> StreamType::GetEntryNames() const {
    std::vector<std::string> names;
    names.reserve(entries.size());
    for (const SampleEntry& entry : entries) {
        names.push_back(entry.key);
    }
    return names;
}

std::string StreamType::GetName() const {
    return parent == nullptr ? std::string() : parent->GetName();
}

std::string StreamType::GetFullName() const {
    return parent == nullptr ? std::string() : parent->GetFullName();
}

std::string StreamType::GetHash() const {
    return hashKeys.empty() ? std::string() : hashKeys.front();
}

bool StreamType::IsHashCompatible(const std::string& hash) const {
    return std::find(hashKeys.begin(), hashKeys.end(), hash) != hashKeys.end();
}

void StreamType::Remove(unsigned short id) {
    if (id >= entries.size()) {
        throw std::out_of_range("Entry " + std::to_string(id) + " does not exist in stream type '" +
                                GetName() + "' with version '" + version.ToString() + "'.");
    }
    StreamType changed;
    changed.parent = parent;
    changed.version = version;
    changed.entries.reserve(entries.size());
    for (const SampleEntry& entry : entries) {
        if (&entry != &entries[id]) {
            changed.ids.emplace(entry.key, static_cast<unsigned short>(changed.entries.size()));
            changed.entries.push_back(entry);
        }
    }
    changed.CreateOffsets();
    changed.CalculateHashKeys();
    Swap(changed);
}

bool StreamType::HasSameLayout(const StreamType& other) const {
    const auto isEqual = [](const SampleEntry& a, const SampleEntry& b) {
        return a.key == b.key && a.type == b.type;
    };
    return std::equal(entries.begin(), entries.end(), other.entries.begin(), other.entries.end(),
                      isEqual);
}

void StreamType::Serialize(const NodeSerializer& serializer, INode& node) const {
    serializer.Serialize(node.AddNode("Version", NodeFlags::NodeValue), version, Optional());
    NodeRef list = node.AddNode("Entries", NodeFlags::NodeList);
    for (const SampleEntry& entry : entries) {
        NodeRef child = list.AddNode("Entry", NodeFlags::NodeElement);
        serializer.Serialize(child.AddNode("Key", NodeFlags::NodeValue), entry.key, Optional());
        serializer.Serialize(child.AddNode("Type", NodeFlags::NodeValue), ToString(entry.type),
                             Optional());
    }
}

void StreamType::Swap(StreamType& other) noexcept {
    entries.swap(other.entries);
    memOffsets.swap(other.memOffsets);
    hashKeys.swap(other.hashKeys);
    std::swap(parent, other.parent);
    std::swap(version, other.version);
    ids.swap(other.ids);
    checksums.swap(other.checksums);
    std::swap(exactSize, other.exactSize);
    layoutNumber = NextLayoutNumber();
}

std::uint64_t StreamType::NextLayoutNumber() {
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

void StreamType::CreateOffsets() {
    memOffsets.clear();
    memOffsets.reserve(entries.size() + 1);
    exactSize = 0;
    for (const SampleEntry& entry : entries) {
        memOffsets.push_back(static_cast<unsigned int>(exactSize));
        exactSize += BytesOf(entry);
    }
    memOffsets.push_back(static_cast<unsigned int>(exactSize));
}

std::vector<Version> StreamType::HashedVersions() const {
    std::vector<Version> versions(1, version);
    const std::string name = GetName();
    if (std::find(std::begin(wellKnownNames), std::end(wellKnownNames), name) !=
        std::end(wellKnownNames)) {
        for (const char* text : fixedVersions) {
            const Version fixed{std::string(text)};
            if (fixed != version) {
                versions.push_back(fixed);
            }
        }
    }
    return versions;
}

void StreamType::CalculateHashKeys() {
    std::vector<Poco::Checksum> sums;
    for (const Version& hashed : HashedVersions()) {
        Poco::Checksum checksum(Poco::Checksum::TYPE_ADLER32);
        checksum.update("Version  " + hashed.ToString());
        for (const SampleEntry& entry : entries) {
            FeedKey(checksum, entry.key);
        }
        sums.push_back(checksum);
    }
    std::vector<std::string> keys = HashKeys(sums);
    checksums.swap(sums);
    hashKeys.swap(keys);
}

std::vector<Poco::Checksum> StreamType::ChecksumsWith(const std::string& key) const {
    std::vector<Poco::Checksum> sums = checksums;
    // The parent may have been renamed since the last entry, to or from a well-known name.
    if (sums.size() != HashedVersions().size()) {
        StreamType recalculated(*this);
        sums = std::move(recalculated.checksums);
    }
    for (Poco::Checksum& checksum : sums) {
        FeedKey(checksum, key);
    }
    return sums;
}

}  // namespace velmora::core::tessaryn
