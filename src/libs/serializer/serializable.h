// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"
#include "serializer/node.h"
#include "serializer/serializer_fwd.h"

namespace velmora::core::serialization {

/// An object that writes itself into a node of a tree.
///
/// Reading is the business of constructors, which take a serializer and a node too.
///
/// \threadsafety external: implementers say how they lock while they are written
class VELMORA_SERIALIZER_API ISerializable {
  public:
    ISerializable() = default;
    ISerializable(const ISerializable&) = default;             ///< copies
    ISerializable& operator=(const ISerializable&) = default;  ///< copies

    // The order of these two is part of the binary interface.
    virtual ~ISerializable();
    /// Adds the object's contents as children of a node.
    ///
    /// \param serializer writes the single values
    /// \param node an existing node, made for this object by the caller
    virtual void Serialize(const NodeSerializer& serializer, INode& node) const = 0;
};

}  // namespace velmora::core::serialization
