// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/stream_type_collection.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::python {

/// A stream type as a value: a name, a version and entries, in no repository. Does not change.
///
/// The name is the path that the type has, or will have, in a repository of types.
///
/// \threadsafety immutable
class TypeRecord {
  public:
    using StreamType = core::tessaryn::StreamType;

    /// \throws std::invalid_argument for an empty name and for entries that `StreamType` refuses
    /// \throws utils::WrongVersionException for the version 0.0.0
    TypeRecord(const std::string& name, const utils::Version& version,
               const std::vector<core::tessaryn::SampleEntry>& entries);

    std::string GetName() const { return collection.GetName(); }
    utils::Version GetVersion() const { return type->GetVersion(); }
    /// The type itself.
    /// \return \ownership lends: must not be changed
    StreamType& GetType() const { return *type; }
    std::vector<core::tessaryn::SampleEntry> GetEntries() const;
    /// "Tank 1.0.0", for messages.
    std::string Describe() const;
    /// Whether names, versions and entries are equal, initial sizes included.
    bool operator==(const TypeRecord& other) const;

  private:
    core::tessaryn::StreamTypeCollection collection;
    StreamType* type;
};

/// The entries of a type, by id.
std::vector<core::tessaryn::SampleEntry> EntriesOf(const core::tessaryn::StreamType& type);

/// Whether two types have the same entries in the same order, initial sizes included.
bool HaveSameEntries(const core::tessaryn::StreamType& left,
                     const core::tessaryn::StreamType& right);

}  // namespace velmora::python
