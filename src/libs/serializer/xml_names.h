// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string_view>

/// \file
/// What XML documents consist of. Internal to this library.

namespace velmora::core::serialization::detail {

/// The element of a node whose name cannot be that of an element, and the element of a value beside
/// child elements. No node's own element has such a name: those begin with a letter.
constexpr std::string_view anyNodeElement = "_node";
constexpr std::string_view valueElement = "_value";

constexpr std::string_view nameAttribute = "name";
constexpr std::string_view flagsAttribute = "flags";
constexpr std::string_view textAttribute = "text";
constexpr std::string_view emptyText = "empty";
constexpr std::string_view escapedText = "escaped";

/// Whether a character is one of those around texts that are ignored.
constexpr bool IsBlank(char character) {
    return character == ' ' || character == '\n' || character == '\t' || character == '\r';
}

/// Whether a node's name can be that of an element. XML reserves names that begin with "xml".
bool IsElementName(std::string_view name);

}  // namespace velmora::core::serialization::detail
