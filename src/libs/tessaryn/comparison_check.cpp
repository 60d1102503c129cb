// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/comparison_check.h"

#include "tessaryn/converted_literal.h"
#include "tessaryn/visit_type.h"

#include <Poco/Exception.h>

#include <limits>
#include <string_view>
#include <type_traits>
#include <typeinfo>

namespace velmora::core::tessaryn {

namespace {

// `Int8` is a number here; `char`, its native type, need not have a sign.
template <class Native>
using NumberOf = std::conditional_t<std::is_same_v<Native, char>, signed char, Native>;

template <class Value>
bool Compare(std::string_view symbol, const Value& left, const Value& right) {
    if (symbol == "<") {
        return left < right;
    }
    if (symbol == "<=") {
        return left <= right;
    }
    if (symbol == ">") {
        return left > right;
    }
    if (symbol == ">=") {
        return left >= right;
    }
    return symbol == "==" ? left == right : left != right;
}

template <class Value>
bool Holds(const RLRelExpr& comparison, const Value& value) {
    try {
        return Compare(comparison.symbol(), value, comparison.literal().convert<Value>());
    } catch (const Poco::Exception&) {
        return false;
    }
}

}  // namespace

bool ConvertsTo(const RLRelExpr& comparison, BaseType type) {
    return ConvertedLiteral(comparison.literal()).IsConvertibleTo(type);
}

std::string DescribeRange(BaseType type) {
    return VisitType(type, [&]<class Native>(std::type_identity<Native>) -> std::string {
        if constexpr (std::is_integral_v<Native> && !std::is_same_v<Native, bool>) {
            using Limits = std::numeric_limits<NumberOf<Native>>;
            return ToString(type) + " holds " + std::to_string(Limits::lowest()) + " to " +
                   std::to_string(Limits::max());
        } else {
            return {};
        }
    });
}

std::string ExplainNeverHolds(const RLRelExpr& comparison, BaseType type) {
    return VisitType(type, [&]<class Native>(std::type_identity<Native>) -> std::string {
        // No literal is beyond all numbers of a floating-point type.
        if constexpr (std::is_integral_v<Native>) {
            using Number = NumberOf<Native>;
            const auto literal = comparison.literal().convert<Number>();
            const std::string_view symbol = comparison.symbol();
            if (symbol == "<" && literal == std::numeric_limits<Number>::lowest()) {
                return "No " + ToString(type) + " is less";
            }
            if (symbol == ">" && literal == std::numeric_limits<Number>::max()) {
                return "No " + ToString(type) + " is greater";
            }
        }
        return {};
    });
}

bool ConvertsAsInteger(const RLRelExpr& comparison, BaseType type) {
    const Poco::Dynamic::Var& literal = comparison.literal();
    constexpr double limit = 9223372036854775808.0;
    if (literal.type() != typeid(double)) {
        return false;
    }
    const double number = literal.extract<double>();
    return number >= -limit && number < limit &&
           ConvertedLiteral(static_cast<Poco::Int64>(number)).IsConvertibleTo(type);
}

bool HoldsForText(const RLRelExpr& comparison, const std::string& text) {
    return Holds(comparison, text);
}

// All texts that are not empty compare alike with the empty one; another literal equals itself, and
// there are texts on both sides of it.
bool HoldsForSomeText(const RLRelExpr& comparison) {
    return !comparison.literal().convert<std::string>().empty() || HoldsForText(comparison, "a");
}

bool HoldsForSize(const RLRelExpr& comparison, unsigned int size) {
    return Holds(comparison, size);
}

}  // namespace velmora::core::tessaryn
