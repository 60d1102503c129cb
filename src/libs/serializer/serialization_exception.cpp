// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/serialization_exception.h"

namespace velmora::core::serialization {

SerializationException::SerializationException(const std::string& message)
    : BaseException(message) {}

SerializationException::~SerializationException() = default;

}  // namespace velmora::core::serialization
