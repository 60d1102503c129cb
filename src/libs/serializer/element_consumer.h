// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"
#include "serializer/node.h"

#include <string>

namespace velmora::core::serialization {

/// Takes the elements of lists while a document is read, so that the tree need not hold them all.
///
/// \threadsafety external
class VELMORA_SERIALIZER_API ElementConsumer {
  public:
    ElementConsumer() = default;
    ElementConsumer(const ElementConsumer&) = delete;
    ElementConsumer& operator=(const ElementConsumer&) = delete;
    virtual ~ElementConsumer();

    /// Called with each complete child of a node of the list's name, in document order. What comes
    /// later in the document is not there yet, and flags that are not in the document are not set.
    ///
    /// \return whether the element is no longer needed: it leaves the tree, and handles to it and
    ///     to what is below it become invalid
    /// \throws anything: reading ends with the exception
    virtual bool Consume(const NodeRef& element) = 0;
};

/// Lists whose elements are consumed.
struct ConsumedLists {
    /// The name of the nodes whose children are elements.
    std::string name;
    ElementConsumer& consumer;
};

}  // namespace velmora::core::serialization
