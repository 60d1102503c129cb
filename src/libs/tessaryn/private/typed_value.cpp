// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/typed_value.h"

namespace velmora::core::tessaryn {

TypedValue::TypedValue(BaseType valueType, Poco::Dynamic::Var dynamicValue)
    : type(valueType), value(dynamicValue) {}

TypedValue::TypedValue(bool truth) : type(Bool), value(truth) {}

}  // namespace velmora::core::tessaryn
