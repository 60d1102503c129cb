// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/encoded_rule.h"

#include "tessaryn/expression_visitor.h"
#include "tessaryn/overloaded.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/value_traits.h"

#include <cstdint>

namespace velmora::core::tessaryn {

namespace {

using Expr = std::shared_ptr<RLExpr>;
using Poco::Dynamic::Var;

// The first byte of a node; those of operators are followed by their operands.
enum Tag : char {
    noNode,
    conjunction,
    disjunction,
    exclusion,
    negation,
    equal,
    notEqual,
    less,
    lessOrEqual,
    greater,
    greaterOrEqual,
    allElements,
    someElements,
    property,
    function,
    existence
};

enum LiteralTag : char { integer, decimal, no, yes, text };

class Encoder {
  public:
    // Empty where the tree is not encodable.
    std::string Encode(const RLExpr* tree) {
        Write(tree);
        return isEncodable ? std::move(bytes) : std::string();
    }

  private:
    static constexpr std::size_t maxBytes = 1024;
    static constexpr int maxDepth = 100;

    void Write(const RLExpr* node) {
        isEncodable = isEncodable && depth < maxDepth && bytes.size() <= maxBytes;
        if (!isEncodable) {
            return;
        }
        ++depth;
        if (node == nullptr) {
            Write(noNode);
        } else {
            VisitExpression(
                *node,
                Overloaded{[&](const RLAndExpr& each) { WriteOperands(conjunction, each); },
                           [&](const RLOrExpr& each) { WriteOperands(disjunction, each); },
                           [&](const RLXorExpr& each) { WriteOperands(exclusion, each); },
                           [&](const RLNotExpr& each) {
                               Write(negation);
                               Write(each.negatedOperand());
                           },
                           [&](const RLEqExpr& each) { WriteComparison(equal, each); },
                           [&](const RLNeExpr& each) { WriteComparison(notEqual, each); },
                           [&](const RLLtExpr& each) { WriteComparison(less, each); },
                           [&](const RLLeExpr& each) { WriteComparison(lessOrEqual, each); },
                           [&](const RLGtExpr& each) { WriteComparison(greater, each); },
                           [&](const RLGeExpr& each) { WriteComparison(greaterOrEqual, each); },
                           [&](const RLIndexExpr& each) { WriteElements(each); },
                           [&](const RLPropExpr& each) {
                               Write(property);
                               Write(each.entryName());
                               Write(each.propertyName());
                           },
                           [&](const RLFuncExpr& each) {
                               Write(function);
                               Write(each.functionName());
                           },
                           [&](const RLExistsExpr& each) {
                               Write(existence);
                               Write(each.entryName());
                           },
                           [&](const RLExpr& /*each*/) { isEncodable = false; }});
        }
        --depth;
    }

    void WriteOperands(Tag tag, const RLBinaryExpr& node) {
        Write(tag);
        Write(node.leftOperand());
        Write(node.rightOperand());
    }

    void WriteComparison(Tag tag, const RLRelExpr& node) {
        Write(tag);
        Write(node.leftOperand());
        const Var& literal = node.literal();
        if (literal.type() == typeid(Poco::Int64)) {
            Write(integer);
            WriteNumber(literal.extract<Poco::Int64>());
        } else if (literal.type() == typeid(double)) {
            Write(decimal);
            WriteNumber(literal.extract<double>());
        } else if (literal.type() == typeid(bool)) {
            Write(literal.extract<bool>() ? yes : no);
        } else if (literal.type() == typeid(std::string)) {
            Write(text);
            Write(literal.extract<std::string>());
        } else {
            isEncodable = false;
        }
    }

    void WriteElements(const RLIndexExpr& node) {
        const bool isRange = node.first() != 0 || node.last() != -1;
        Write(isRange ? someElements : allElements);
        Write(node.entryName());
        if (isRange) {
            WriteNumber(node.first());
            WriteNumber(node.last());
        }
    }

    template <class Number>
    void WriteNumber(Number number) {
        bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    }

    void Write(char tag) { bytes += tag; }

    void Write(const std::string& string) {
        WriteNumber(static_cast<std::uint16_t>(string.size()));
        bytes += string;
        isEncodable = isEncodable && string.size() <= maxBytes;
    }

    std::string bytes;
    bool isEncodable = true;
    int depth = 0;
};

class Decoder {
  public:
    explicit Decoder(std::string_view bytes) : rest(bytes) {}

    Expr Read() {
        const auto tag = static_cast<Tag>(ReadNumber<char>());
        switch (tag) {
            case noNode:
                return nullptr;
            case conjunction:
                return ReadOperands<RLAndExpr>();
            case disjunction:
                return ReadOperands<RLOrExpr>();
            case exclusion:
                return ReadOperands<RLXorExpr>();
            case negation:
                return std::make_shared<RLNotExpr>(Read());
            case equal:
                return ReadComparison<RLEqExpr>();
            case notEqual:
                return ReadComparison<RLNeExpr>();
            case less:
                return ReadComparison<RLLtExpr>();
            case lessOrEqual:
                return ReadComparison<RLLeExpr>();
            case greater:
                return ReadComparison<RLGtExpr>();
            case greaterOrEqual:
                return ReadComparison<RLGeExpr>();
            default:
                return ReadTerm(tag);
        }
    }

  private:
    Expr ReadTerm(Tag tag) {
        const std::string name = ReadString();
        if (tag == someElements) {
            const int from = ReadNumber<int>();
            return std::make_shared<RLIndexExpr>(name, from, ReadNumber<int>());
        }
        if (tag == allElements) {
            return std::make_shared<RLIndexExpr>(name, 0, -1);
        }
        if (tag == property) {
            return std::make_shared<RLPropExpr>(name, ReadString());
        }
        if (tag == function) {
            return std::make_shared<RLFuncExpr>(name);
        }
        return std::make_shared<RLExistsExpr>(name);
    }

    template <class Node>
    Expr ReadOperands() {
        Expr left = Read();
        return std::make_shared<Node>(std::move(left), Read());
    }

    template <class Node>
    Expr ReadComparison() {
        Expr left = Read();
        return std::make_shared<Node>(std::move(left), ReadLiteral());
    }

    Var ReadLiteral() {
        switch (static_cast<LiteralTag>(ReadNumber<char>())) {
            case integer:
                return ReadNumber<Poco::Int64>();
            case decimal:
                return ReadNumber<double>();
            case no:
                return false;
            case yes:
                return true;
            case text:
                break;
        }
        return ReadString();
    }

    template <class Number>
    Number ReadNumber() {
        const auto number = traits::Load<Number>(rest.data());
        rest.remove_prefix(sizeof(Number));
        return number;
    }

    std::string ReadString() {
        const std::size_t size = ReadNumber<std::uint16_t>();
        std::string string(rest.substr(0, size));
        rest.remove_prefix(size);
        return string;
    }

    std::string_view rest;
};

}  // namespace

std::string EncodeRule(const RLExpr* tree) {
    return Encoder().Encode(tree);
}

std::shared_ptr<RLExpr> DecodeRule(std::string_view bytes) {
    return Decoder(bytes).Read();
}

}  // namespace velmora::core::tessaryn
