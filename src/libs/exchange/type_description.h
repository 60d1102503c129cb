// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/export.h"
#include "exchange/fingerprint.h"
#include "tessaryn/named_object.h"
#include "tessaryn/stream_type.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace velmora::exchange {

/// A stream type made from a description, with the names of the writer's collection.
///
/// \threadsafety external: its type must not change while samples of it are used
class EXCHANGE_API DescribedType : public core::INamedObject {
  public:
    /// A type without entries.
    /// \param name the collection's name: the end of the full name
    /// \param fullName names of the groups and of the collection, joined with "."
    DescribedType(const std::string& name, const std::string& fullName,
                  const utils::Version& version);
    DescribedType(const DescribedType&) = delete;
    DescribedType& operator=(const DescribedType&) = delete;
    ~DescribedType() override;

    std::string GetName() const override;
    std::string GetFullName() const override;

    core::tessaryn::StreamType& GetType() { return type; }
    const core::tessaryn::StreamType& GetType() const { return type; }

  private:
    std::string name;
    std::string fullName;
    core::tessaryn::StreamType type;
};

/// Limits of descriptions.
struct DescriptionLimits {
    std::size_t maxBytes = std::size_t{1} << 20;  ///< of the description
    /// Bytes of a new sample's elements, as given by the initial sizes.
    std::size_t maxSampleBytes = std::size_t{1} << 20;
};

/// The description of a stream type: full name, version, and key, value type and initial size of
/// each entry, in the format of `docs/exchange_format.md`.
/// \throws std::length_error when it takes more than 4 GiB
/// \threadsafety external: the type must not change meanwhile
EXCHANGE_API std::string DescribeType(const core::tessaryn::StreamType& type);

/// Makes a stream type from its description.
/// \throws ExchangeException, naming the byte and the mistake, unless the block is exactly one
/// description within the limits
/// \threadsafety immutable
EXCHANGE_API std::unique_ptr<DescribedType> ReadDescription(std::string_view description,
                                                            const DescriptionLimits& limits = {});

}  // namespace velmora::exchange
