// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/xml_names.h"

#include <Poco/Ascii.h>
#include <Poco/String.h>

#include <algorithm>
#include <string>

namespace velmora::core::serialization::detail {

bool IsElementName(std::string_view name) {
    if (name.empty() || !Poco::Ascii::isAlpha(name.front())) {
        return false;
    }
    const auto isNamePart = [](char character) {
        return Poco::Ascii::isAlphaNumeric(character) || character == '_' || character == '.' ||
               character == '-';
    };
    if (!std::all_of(name.begin(), name.end(), isNamePart)) {
        return false;
    }
    constexpr std::size_t prefixLength = 3;
    return Poco::Ascii::toLower(name.front()) != 'x' ||
           Poco::icompare(std::string(name.substr(0, prefixLength)), "xml") != 0;
}

}  // namespace velmora::core::serialization::detail
