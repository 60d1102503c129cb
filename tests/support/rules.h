// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/private/subscription_rule_parser.h"

#include <Poco/Exception.h>

#include <exception>
#include <memory>
#include <sstream>
#include <string>

namespace velmora::test {

/// What an action answers, as text: "true" or "false", the full text of one of Poco's exceptions,
/// or "std: " and that of a standard one.
template <class Action>
std::string OutcomeOf(Action&& action) {
    try {
        return action() ? "true" : "false";
    } catch (const Poco::Exception& exception) {
        return exception.displayText();
    } catch (const std::exception& exception) {
        return std::string("std: ") + exception.what();
    }
}

inline std::shared_ptr<core::tessaryn::RLExpr> Parse(const std::string& text) {
    return core::tessaryn::RLParser(text).parse();
}

/// The lines of a tree's dump, each ended by a line feed; nothing for a missing tree.
inline std::string DumpOf(const core::tessaryn::RLExpr* tree) {
    std::ostringstream out;
    if (tree != nullptr) {
        tree->dump(out, 0);
    }
    return out.str();
}

}  // namespace velmora::test
