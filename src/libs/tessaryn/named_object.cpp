// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/named_object.h"

namespace velmora::core {

INamedObject::~INamedObject() = default;

}  // namespace velmora::core
