// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_compiler.h"

#include "tessaryn/expression_visitor.h"
#include "tessaryn/overloaded.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

using Opcode = Instruction::Opcode;
using Operator = Instruction::Operator;
using Place = CompiledRule::Place;

// The operand of "!"; null for every other node.
const RLExpr* NegatedOperand(const RLExpr& node) {
    return VisitExpression(
        node, Overloaded{[](const RLNotExpr& negation) { return negation.negatedOperand(); },
                         [](const RLExpr&) -> const RLExpr* { return nullptr; }});
}

// Whether the node joins or negates others.
bool IsOperator(const RLExpr& node) {
    return VisitExpression(node, Overloaded{[](const RLBinaryExpr&) { return true; },
                                            [](const RLNotExpr&) { return true; },
                                            [](const RLExpr&) { return false; }});
}

// Whether the node's value is of type `bool` for every change, so that its conversion cannot fail.
bool IsBool(const RLExpr* node) {
    return node != nullptr &&
           VisitExpression(*node, Overloaded{[](const RLBinaryExpr&) { return true; },
                                             [](const RLNotExpr&) { return true; },
                                             [](const RLRelExpr&) { return true; },
                                             [](const RLFuncExpr&) { return true; },
                                             [](const RLExistsExpr&) { return true; },
                                             [](const RLExpr&) { return false; }});
}

// Compiles from the last instruction to the first, so that an instruction's targets are known when
// it is added.
class Compiler {
  public:
    CompiledRule Compile(const RLExpr* root) {
        CountUses(root);
        rule.isPure = root == nullptr || nodes[root].isPure;
        rule.start = CompileBlock(root);
        // Compiling a block may add more blocks.
        for (std::size_t i = 0; i < blockRoots.size(); ++i) {
            const Place start = CompileBlock(blockRoots[i]);
            rule.blocks[i].start = start;
        }
        return std::move(rule);
    }

  private:
    struct Node {
        unsigned int uses = 0;
        bool isPure = true;
        std::uint32_t block = CompiledRule::none;
    };

    // Parts that are nested deeper than this in a block get a block of their own, so that compiling
    // a deep tree does not exhaust the call stack.
    static constexpr int maxDepth = 100;

    // Visits each node once, after its operands.
    void CountUses(const RLExpr* root) {
        struct Visit {
            const RLExpr* node;
            bool afterOperands;
        };
        std::vector<Visit> pending = {{root, false}};
        const auto use = [&](const RLExpr* operand) { pending.push_back({operand, false}); };
        while (!pending.empty()) {
            const auto [node, afterOperands] = pending.back();
            pending.pop_back();
            if (node == nullptr) {
                continue;
            }
            if (afterOperands) {
                nodes[node].isPure = HasPureOperands(*node);
            } else if (++nodes[node].uses == 1) {
                pending.push_back({node, true});
                VisitExpression(
                    *node,
                    Overloaded{[&](const RLBinaryExpr& binary) {
                                   use(binary.rightOperand());
                                   use(binary.leftOperand());
                               },
                               [&](const RLNotExpr& negation) { use(negation.negatedOperand()); },
                               [&](const RLRelExpr& comparison) { use(comparison.leftOperand()); },
                               [](const RLExpr&) {}});
            }
        }
    }

    // Evaluating a node of a host's class may have side effects.
    bool HasPureOperands(const RLExpr& node) {
        const auto isPure = [&](const RLExpr* operand) {
            return operand == nullptr || nodes[operand].isPure;
        };
        return VisitExpression(
            node,
            Overloaded{
                [&](const RLBinaryExpr& binary) {
                    return isPure(binary.leftOperand()) && isPure(binary.rightOperand());
                },
                [&](const RLNotExpr& negation) { return isPure(negation.negatedOperand()); },
                [&](const RLRelExpr& comparison) { return isPure(comparison.leftOperand()); },
                [](const RLIndexExpr&) { return true; }, [](const RLPropExpr&) { return true; },
                [](const RLFuncExpr&) { return true; }, [](const RLExistsExpr&) { return true; },
                [](const RLExpr&) { return false; }});
    }

    // Appends the block's instructions to the code and returns where they start.
    Place CompileBlock(const RLExpr* root) {
        reversed.clear();
        blockRoot = root;
        const Place start = CompileNode(root, CompiledRule::holds, CompiledRule::fails);
        if (start < 0) {
            return start;
        }
        // Instructions added later belong to operands before a constant one, and are never reached.
        const auto first = reversed.rend() - (start + 1);
        const auto index = static_cast<Place>(rule.code.size());
        rule.code.insert(rule.code.end(), std::make_move_iterator(first),
                         std::make_move_iterator(reversed.rend()));
        return index;
    }

    // Adds the instructions of a part of the tree, in front of those added before. Returns where
    // they start.
    Place CompileNode(const RLExpr* node, Place onTrue, Place onFalse) {
        if (node == nullptr) {
            return Add({.opcode = Opcode::Fallback}, onTrue, onFalse);
        }
        const bool isShared = nodes[node].uses > 1;
        if (node != blockRoot && IsOperator(*node) && (isShared || depth >= maxDepth)) {
            return Call(node, onTrue, onFalse);
        }
        ++depth;
        const Place start = VisitExpression(
            *node,
            Overloaded{
                [&](const RLAndExpr& chain) { return CompileChain(chain, onTrue, onFalse); },
                [&](const RLOrExpr& chain) { return CompileChain(chain, onTrue, onFalse); },
                [&](const RLXorExpr& chain) { return CompileXor(chain, onTrue, onFalse); },
                [&](const RLNotExpr& negation) {
                    return CompileNode(negation.negatedOperand(), onFalse, onTrue);
                },
                [&](const RLEqExpr& eq) { return Compare(eq, Operator::equal, onTrue, onFalse); },
                [&](const RLNeExpr& ne) {
                    return Compare(ne, Operator::notEqual, onTrue, onFalse);
                },
                [&](const RLLtExpr& lt) { return Compare(lt, Operator::less, onTrue, onFalse); },
                [&](const RLLeExpr& le) {
                    return Compare(le, Operator::lessOrEqual, onTrue, onFalse);
                },
                [&](const RLGtExpr& gt) { return Compare(gt, Operator::greater, onTrue, onFalse); },
                [&](const RLGeExpr& ge) {
                    return Compare(ge, Operator::greaterOrEqual, onTrue, onFalse);
                },
                [&](const RLExistsExpr& exists) {
                    return Add({.opcode = Opcode::Exists,
                                .expression = node,
                                .entryName = exists.entryName()},
                               onTrue, onFalse);
                },
                [&](const RLFuncExpr& function) {
                    return CompileFunction(function, onTrue, onFalse);
                },
                [&](const RLExpr&) {
                    return Add({.opcode = Opcode::Fallback, .expression = node}, onTrue, onFalse);
                }});
        --depth;
        return start;
    }

    // The operands of a chain of one operator, in the order written. A part of the chain that is
    // used elsewhere, too, counts as an operand.
    template <class Node>
    std::vector<const RLExpr*> OperandsOf(const Node& chain) {
        std::vector<const RLExpr*> operands = {chain.rightOperand()};
        const RLExpr* rest = chain.leftOperand();
        while (rest != nullptr && typeid(*rest) == typeid(Node) && nodes[rest].uses == 1) {
            operands.push_back(static_cast<const Node*>(rest)->rightOperand());
            rest = static_cast<const Node*>(rest)->leftOperand();
        }
        operands.push_back(rest);
        std::reverse(operands.begin(), operands.end());
        return operands;
    }

    // "&&" and "||": the operands are tested in the order written, up to the one that decides.
    template <class Node>
    Place CompileChain(const Node& chain, Place onTrue, Place onFalse) {
        constexpr bool isAnd = std::is_same_v<Node, RLAndExpr>;
        const std::vector<const RLExpr*> operands = OperandsOf(chain);
        Place next = CompileNode(operands.back(), onTrue, onFalse);
        for (auto operand = operands.rbegin() + 1; operand != operands.rend(); ++operand) {
            next =
                isAnd ? CompileNode(*operand, next, onFalse) : CompileNode(*operand, onTrue, next);
        }
        return next;
    }

    // "^^": the operands are tested from the last to the first, as the tree evaluates them. Each
    // but the last is compiled twice, for an even and for an odd number of true ones behind it.
    Place CompileXor(const RLXorExpr& chain, Place onTrue, Place onFalse) {
        const std::vector<const RLExpr*> operands = OperandsOf(chain);
        // The tree converts the values to bool after it has evaluated them all, which makes a
        // difference where a conversion fails.
        if (!std::all_of(operands.begin(), operands.end(), IsBool)) {
            return Add({.opcode = Opcode::Fallback, .expression = &chain}, onTrue, onFalse);
        }
        Place even = onFalse;
        Place odd = onTrue;
        for (auto operand = operands.begin(); operand + 1 != operands.end(); ++operand) {
            const Place nextEven = CompileTwice(*operand, odd, even);
            odd = CompileTwice(*operand, even, odd);
            even = nextEven;
        }
        return CompileNode(operands.back(), odd, even);
    }

    // A node that is compiled at two places: one test at each, or a call of one block.
    Place CompileTwice(const RLExpr* node, Place onTrue, Place onFalse) {
        const RLExpr* const negated = NegatedOperand(*node);
        const bool isTest = !IsOperator(*node) || (negated != nullptr && !IsOperator(*negated));
        return isTest ? CompileNode(node, onTrue, onFalse) : Call(node, onTrue, onFalse);
    }

    Place Compare(const RLRelExpr& comparison, Operator symbol, Place onTrue, Place onFalse) {
        const RLExpr* const left = comparison.leftOperand();
        Instruction instruction{.opcode = Opcode::Fallback,
                                .comparison = symbol,
                                .expression = &comparison,
                                .literal = ConvertedLiteral(comparison.literal())};
        if (left != nullptr && instruction.literal.IsLossless()) {
            instruction.opcode =
                VisitExpression(*left, Overloaded{[&](const RLIndexExpr& elements) {
                                                      return SelectElements(elements, instruction);
                                                  },
                                                  [&](const RLPropExpr& property) {
                                                      return SelectSize(property, instruction);
                                                  },
                                                  [](const RLExpr&) { return Opcode::Fallback; }});
        }
        if (instruction.opcode != Opcode::Fallback && instruction.literal.IsConvertibleTo(String)) {
            instruction.text = ConvertedLiteral::AsText(comparison.literal());
        }
        return Add(std::move(instruction), onTrue, onFalse);
    }

    static Opcode SelectElements(const RLIndexExpr& elements, Instruction& instruction) {
        instruction.entryName = elements.entryName();
        instruction.from = elements.first();
        instruction.to = elements.last();
        const bool allElements = elements.first() <= 0 && elements.last() < 0;
        return allElements ? Opcode::Compare : Opcode::CompareRange;
    }

    static Opcode SelectSize(const RLPropExpr& property, Instruction& instruction) {
        instruction.entryName = property.entryName();
        return property.propertyName() == "size" ? Opcode::CompareSize : Opcode::Fallback;
    }

    Place CompileFunction(const RLFuncExpr& function, Place onTrue, Place onFalse) {
        constexpr std::pair<const char*, StreamChangeType> changeTypes[] = {
            {"pushed", pushed}, {"popped", popped}, {"changed", changed}};
        for (const auto& [name, changeType] : changeTypes) {
            if (function.functionName() == name) {
                return Add({.opcode = Opcode::ChangeType,
                            .changeType = changeType,
                            .expression = &function},
                           onTrue, onFalse);
            }
        }
        return function.functionName() == "true" ? onTrue : onFalse;
    }

    Place Call(const RLExpr* node, Place onTrue, Place onFalse) {
        Node& info = nodes[node];
        if (info.block == CompiledRule::none) {
            info.block = static_cast<std::uint32_t>(rule.blocks.size());
            rule.blocks.push_back({});
            if (info.uses > 1 && info.isPure) {
                rule.blocks.back().verdict = rule.numVerdicts++;
            }
            blockRoots.push_back(node);
        }
        return Add({.opcode = Opcode::Call, .block = info.block, .expression = node}, onTrue,
                   onFalse);
    }

    Place Add(Instruction instruction, Place onTrue, Place onFalse) {
        const auto place = static_cast<Place>(reversed.size());
        rule.mayThrow = rule.mayThrow || instruction.opcode == Opcode::Fallback;
        instruction.onTrue = TargetAt(place, onTrue);
        instruction.onFalse = TargetAt(place, onFalse);
        reversed.push_back(std::move(instruction));
        return place;
    }

    static Instruction::Target TargetAt(Place from, Place to) {
        return to == CompiledRule::holds   ? Instruction::holds
               : to == CompiledRule::fails ? Instruction::fails
                                           : from - to;
    }

    CompiledRule rule;
    std::unordered_map<const RLExpr*, Node> nodes;
    std::vector<const RLExpr*> blockRoots;
    // Of the block that is being compiled; places count from its end.
    std::vector<Instruction> reversed;
    const RLExpr* blockRoot = nullptr;
    int depth = 0;
};

}  // namespace

CompiledRule CompileRule(const RLExpr* tree) {
    return Compiler().Compile(tree);
}

}  // namespace velmora::core::tessaryn
