// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"

#include <string>

namespace velmora::core {

/// An object with a name, and a full name that the groups above it qualify.
///
/// \threadsafety external: names change only with the tree that holds the object
class TESSARYN_API INamedObject {
  public:
    INamedObject() = default;
    INamedObject(const INamedObject&) = default;
    INamedObject& operator=(const INamedObject&) = default;

    // The order of these three is part of the binary interface.
    virtual ~INamedObject();
    /// The object's own name.
    virtual std::string GetName() const = 0;
    /// The name qualified by the names of the groups above the object, joined with ".".
    virtual std::string GetFullName() const = 0;
};

}  // namespace velmora::core
