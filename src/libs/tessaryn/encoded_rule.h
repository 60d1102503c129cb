// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace velmora::core::tessaryn {

class RLExpr;

/// A rule's tree as a few dozen bytes, a tenth of the tree's memory. Equal trees have equal bytes.
/// \param tree \ownership observes: null for an empty text
/// \return empty where the tree has nodes or literals that no parser makes, is deep, or takes more
/// than a kilobyte
/// \threadsafety immutable
std::string EncodeRule(const RLExpr* tree);

/// Restores the tree.
/// \param bytes the result of `EncodeRule`, not empty
/// \threadsafety immutable
std::shared_ptr<RLExpr> DecodeRule(std::string_view bytes);

}  // namespace velmora::core::tessaryn
