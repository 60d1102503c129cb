// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/typed_value.h"

namespace velmora::core::tessaryn {

TypedValue::TypedValue(BaseType type, Poco::Dynamic::Var value) : type(type), value(value) {}

TypedValue::TypedValue(bool value) : type(Bool), value(value) {}

}  // namespace velmora::core::tessaryn
