// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/size_guards.h"

#include "tessaryn/comparison_check.h"

namespace velmora::core::tessaryn {

namespace {

constexpr int maxGuards = 64;

}  // namespace

const SizeGuard* SizeGuards::After(const RLExpr* operand, bool truth, const SizeGuard* guards) {
    while (const auto* const negation = dynamic_cast<const RLNotExpr*>(operand)) {
        operand = negation->negatedOperand();
        truth = !truth;
    }
    const auto* const comparison = dynamic_cast<const RLRelExpr*>(operand);
    if (comparison == nullptr) {
        return guards;
    }
    const auto* const term = dynamic_cast<const RLPropExpr*>(comparison->leftOperand());
    const bool isGuard =
        term != nullptr && term->propertyName() == "size" && HoldsForSize(*comparison, 0) != truth;
    return isGuard ? &all.emplace_back(SizeGuard{term->entryName(), guards}) : guards;
}

bool SizeGuards::HasElements(const std::string& entry, const SizeGuard* guards) {
    for (int i = 0; i < maxGuards && guards != nullptr; ++i, guards = guards->outer) {
        if (guards->entry == entry) {
            return true;
        }
    }
    return false;
}

}  // namespace velmora::core::tessaryn
