// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"
#include "serializer/node.h"
#include "serializer/serializer_fwd.h"

namespace velmora::core::serialization {

/// An object with a node form. It is read by constructors that take a serializer and a node.
///
/// \threadsafety external, unless the implementing class says otherwise
class VELMORA_SERIALIZER_API ISerializable {
  public:
    ISerializable() = default;
    ISerializable(const ISerializable&) = default;
    ISerializable& operator=(const ISerializable&) = default;

    // The order of these two is part of the binary interface.
    virtual ~ISerializable();
    /// Adds the object's contents as children of a node.
    ///
    /// \param node an existing node, made for this object by the caller
    virtual void Serialize(const NodeSerializer& serializer, INode& node) const = 0;
};

}  // namespace velmora::core::serialization
