// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/type_description.h"

#include "exchange/exchange_exception.h"
#include "exchange/little_endian.h"

#include <Poco/SHA2Engine.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <stdexcept>

namespace velmora::exchange {

namespace {

using core::tessaryn::BaseType;
using core::tessaryn::SampleEntry;
using core::tessaryn::StreamType;

std::uint32_t CheckedLength(std::size_t length) {
    if (length > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("A name of a stream type takes more than 4 GiB.");
    }
    return static_cast<std::uint32_t>(length);
}

// The part that the fingerprint covers: names, version and value types.
std::string DescribeLayout(const StreamType& type) {
    const std::string fullName = type.GetFullName();
    const utils::Version version = type.GetVersion();
    std::string description;
    bytes::Append(description, CheckedLength(fullName.size()));
    bytes::Append(description, version.GetThird());
    bytes::Append(description, version.GetSecond());
    bytes::Append(description, version.GetFirst());
    bytes::Append(description, std::uint32_t{type.GetNumEntries()});
    description += fullName;
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        const SampleEntry entry = type.GetEntry(id);
        bytes::Append(description, CheckedLength(entry.key.size()));
        bytes::Append(description, std::uint32_t{entry.type});
        description += entry.key;
    }
    return description;
}

// Reads a description from its beginning to its end.
class DescriptionReader {
  public:
    explicit DescriptionReader(std::string_view description) : description(description) {}

    [[noreturn]] void Fail(const std::string& what) const {
        throw ExchangeException("Byte " + std::to_string(position) +
                                " of a type's description: " + what + ".");
    }

    template <class T>
    T ReadNumber(const char* what) {
        const T value = bytes::Load<T>(Take(sizeof(T), what), 0);
        return value;
    }

    std::string ReadText(std::size_t length, const char* what) {
        return std::string(Take(length, what));
    }

    std::size_t GetRemaining() const { return description.size() - position; }

  private:
    std::string_view Take(std::size_t length, const char* what) {
        if (length > GetRemaining()) {
            Fail(std::string(what) + " of " + std::to_string(length) + " bytes, but " +
                 std::to_string(GetRemaining()) + " are left");
        }
        const std::string_view taken = description.substr(position, length);
        position += length;
        return taken;
    }

    std::string_view description;
    std::size_t position = 0;
};

struct DescribedEntry {
    std::string key;
    BaseType type;
};

std::vector<DescribedEntry> ReadEntries(DescriptionReader& reader, std::size_t count) {
    // The shortest entry: two numbers, a key of one byte, and the initial size further on.
    constexpr std::size_t minEntryBytes = 13;
    if (count > reader.GetRemaining() / minEntryBytes) {
        reader.Fail(std::to_string(count) + " entries, but " +
                    std::to_string(reader.GetRemaining()) + " bytes are left");
    }
    std::vector<DescribedEntry> entries(count);
    for (DescribedEntry& entry : entries) {
        const auto length = reader.ReadNumber<std::uint32_t>("the length of a key");
        const auto type = reader.ReadNumber<std::uint32_t>("a value type");
        if (type == core::tessaryn::UnknownType || type > core::tessaryn::String) {
            reader.Fail("there is no value type " + std::to_string(type));
        }
        entry.type = static_cast<BaseType>(type);
        entry.key = reader.ReadText(length, "a key");
    }
    return entries;
}

void AddEntries(DescriptionReader& reader, const std::vector<DescribedEntry>& entries,
                StreamType& type, std::size_t maxSampleBytes) {
    for (const DescribedEntry& entry : entries) {
        const auto initialSize = reader.ReadNumber<std::uint32_t>("an initial size");
        try {
            type.Add(entry.key, entry.type, initialSize);
        } catch (const std::logic_error& error) {
            reader.Fail(error.what());
        }
        if (type.GetExactMemSizeInBytes() > maxSampleBytes) {
            reader.Fail("a sample takes " + std::to_string(type.GetExactMemSizeInBytes()) +
                        " bytes, more than the limit of " + std::to_string(maxSampleBytes));
        }
    }
}

}  // namespace

DescribedType::DescribedType(const std::string& name, const std::string& fullName,
                             const utils::Version& version)
    : name(name), fullName(fullName), type(version, this) {}

DescribedType::~DescribedType() = default;

std::string DescribedType::GetName() const {
    return name;
}

std::string DescribedType::GetFullName() const {
    return fullName;
}

std::string DescribeType(const StreamType& type) {
    std::string description = DescribeLayout(type);
    bytes::Append(description, CheckedLength(type.GetName().size()));
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        bytes::Append(description, std::uint32_t{type.GetEntry(id).initialSize});
    }
    return description;
}

std::unique_ptr<DescribedType> ReadDescription(std::string_view description,
                                               const DescriptionLimits& limits) {
    DescriptionReader reader(description);
    if (description.size() > limits.maxBytes) {
        reader.Fail(std::to_string(description.size()) + " bytes are more than the limit of " +
                    std::to_string(limits.maxBytes));
    }
    const auto fullNameLength = reader.ReadNumber<std::uint32_t>("the length of the full name");
    const auto third = reader.ReadNumber<unsigned short>("the version");
    const auto second = reader.ReadNumber<unsigned char>("the version");
    const auto first = reader.ReadNumber<unsigned char>("the version");
    const auto count = reader.ReadNumber<std::uint32_t>("the number of entries");
    const std::string fullName = reader.ReadText(fullNameLength, "the full name");
    const std::vector<DescribedEntry> entries = ReadEntries(reader, count);
    const auto nameLength = reader.ReadNumber<std::uint32_t>("the length of the name");
    if (nameLength > fullName.size()) {
        reader.Fail("the name is longer than the full name");
    }
    auto described =
        std::make_unique<DescribedType>(fullName.substr(fullName.size() - nameLength), fullName,
                                        utils::Version(first, second, third));
    AddEntries(reader, entries, described->GetType(), limits.maxSampleBytes);
    if (reader.GetRemaining() != 0) {
        reader.Fail("it ends here, but " + std::to_string(reader.GetRemaining()) + " bytes follow");
    }
    return described;
}

Fingerprint FingerprintOf(const StreamType& type) {
    Poco::SHA2Engine engine(Poco::SHA2Engine::SHA_256);
    engine.update(DescribeLayout(type));
    const Poco::DigestEngine::Digest& digest = engine.digest();
    Fingerprint fingerprint;
    std::copy_n(digest.begin(), fingerprint.bytes.size(), fingerprint.bytes.begin());
    return fingerprint;
}

std::string Fingerprint::ToString() const {
    return Poco::DigestEngine::digestToHex({bytes.begin(), bytes.end()});
}

}  // namespace velmora::exchange
