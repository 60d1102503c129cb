// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/serializable.h"

namespace velmora::core::serialization {

ISerializable::~ISerializable() = default;

}  // namespace velmora::core::serialization
