// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"
#include "tessaryn/export.h"

#include <Poco/Dynamic/Var.h>

namespace velmora::core::tessaryn {

/// What an expression of the rule language evaluates to: a value type and a dynamic value.
///
/// The value of one element is held as the sample's getter returns it (`char` for `Int8`,
/// `long long` for `Int64`); several elements are a `std::vector<Poco::Dynamic::Var>` of such
/// values, and their type is that of the elements.
///
/// \threadsafety external
class TESSARYN_API TypedValue {
  public:
    /// `UnknownType` and an empty value.
    TypedValue() = default;
    TypedValue(BaseType type, Poco::Dynamic::Var value);
    /// A value of the type `Bool`.
    // NOLINTNEXTLINE(google-explicit-constructor): conditions are returned as values
    TypedValue(bool value);

    BaseType type = UnknownType;  ///< of several elements, the type of each
    Poco::Dynamic::Var value;     ///< empty where there is none
};

}  // namespace velmora::core::tessaryn
