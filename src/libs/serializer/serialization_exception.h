// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/base_exception.h"
#include "serializer/export.h"

#include <string>

namespace velmora::core::serialization {

/// A value broke its rule, an absent node was written to, or a document could not be read or
/// written.
///
/// \threadsafety immutable
struct VELMORA_SERIALIZER_API SerializationException : public BaseException {
    explicit SerializationException(const std::string& message);
    SerializationException(const SerializationException&) = default;
    SerializationException& operator=(const SerializationException&) = default;
    ~SerializationException() override;
};

}  // namespace velmora::core::serialization
