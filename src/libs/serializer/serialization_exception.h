// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/base_exception.h"
#include "serializer/export.h"

#include <string>

namespace velmora::core::serialization {

/// A value broke its rule, a node is not there to be written, or a document can't be read.
///
/// \threadsafety immutable
struct VELMORA_SERIALIZER_API SerializationException : public BaseException {
    /// \param message the whole text of `what()`
    explicit SerializationException(const std::string& message);
    SerializationException(const SerializationException&) = default;             ///< copies
    SerializationException& operator=(const SerializationException&) = default;  ///< copies
    ~SerializationException() override;
};

}  // namespace velmora::core::serialization
