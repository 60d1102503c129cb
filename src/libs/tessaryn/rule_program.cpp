// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_program.h"

#include "tessaryn/converted_literal.h"
#include "tessaryn/entry_binding.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/value_traits.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

// The outcomes of a comparison, as bits: an operator is the set of those that pass it.
enum Outcome : unsigned char { less = 1, equal = 2, greater = 4, unordered = 8 };
using Operator = unsigned char;

Operator OperatorOf(const RLRelExpr& comparison) {
    const std::string_view symbol = comparison.symbol();
    if (symbol == "==") {
        return equal;
    }
    if (symbol == "!=") {
        return less | greater | unordered;
    }
    if (symbol == "<") {
        return less;
    }
    if (symbol == "<=") {
        return less | equal;
    }
    return symbol == ">" ? greater : greater | equal;
}

template <class T>
inline bool Passes(const T& value, Operator op, const T& literal) {
    const int outcome = (value < literal ? less : 0) | (value == literal ? equal : 0) |
                        (literal < value ? greater : 0);
    return ((outcome == 0 ? unordered : outcome) & op) != 0;
}

// Whether each of the elements passes; the literal is on the right.
template <class Native>
inline bool AllPass(const char* elements, std::size_t bytes, Operator op,
                    const ConvertedLiteral& literal) {
    const auto converted = literal.As<Native>();
    const char* const end = elements + bytes;
    do {
        if (!Passes(traits::Load<Native>(elements), op, converted)) {
            return false;
        }
        elements += sizeof(Native);
    } while (elements != end);
    return true;
}

// The same for a type that is known only now.
// \pre There is an element, and no more bytes than those of elements.
inline bool AllPass(BaseType type, const char* elements, std::size_t bytes, Operator op,
                    const ConvertedLiteral& literal) {
    return VisitType(type, [&]<class Native>(std::type_identity<Native>) {
        if constexpr (std::is_void_v<Native> || std::is_same_v<Native, std::string>) {
            return false;
        } else if constexpr (std::is_same_v<Native, char>) {
            return AllPass<signed char>(elements, bytes, op, literal);
        } else {
            return AllPass<Native>(elements, bytes, op, literal);
        }
    });
}

template <class Node>
const Node* Exactly(const RLExpr* expression) {
    // A class of a host that derives from a node may evaluate to something else.
    return typeid(*expression) == typeid(Node) ? static_cast<const Node*>(expression) : nullptr;
}

const RLRelExpr* AsComparison(const RLExpr* expression) {
    const bool ours =
        Exactly<RLEqExpr>(expression) != nullptr || Exactly<RLNeExpr>(expression) != nullptr ||
        Exactly<RLLtExpr>(expression) != nullptr || Exactly<RLLeExpr>(expression) != nullptr ||
        Exactly<RLGtExpr>(expression) != nullptr || Exactly<RLGeExpr>(expression) != nullptr;
    return ours ? static_cast<const RLRelExpr*>(expression) : nullptr;
}

// Whether every node is one of the library's: one of a host may do anything when it is asked.
bool IsOfLibrary(const RLExpr* expression) {
    std::vector<const RLExpr*> pending = {expression};
    while (!pending.empty()) {
        const RLExpr* const node = pending.back();
        pending.pop_back();
        if (node == nullptr || Exactly<RLExistsExpr>(node) != nullptr ||
            Exactly<RLFuncExpr>(node) != nullptr || Exactly<RLIndexExpr>(node) != nullptr ||
            Exactly<RLPropExpr>(node) != nullptr) {
            continue;
        }
        if (Exactly<RLAndExpr>(node) != nullptr || Exactly<RLOrExpr>(node) != nullptr ||
            Exactly<RLXorExpr>(node) != nullptr) {
            pending.push_back(static_cast<const RLBinaryExpr*>(node)->leftOperand());
            pending.push_back(static_cast<const RLBinaryExpr*>(node)->rightOperand());
        } else if (const auto* negation = Exactly<RLNotExpr>(node)) {
            pending.push_back(negation->negatedOperand());
        } else if (const auto* comparison = AsComparison(node)) {
            pending.push_back(comparison->leftOperand());
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

// What a step was made of: needed to bind it, to compare texts and to ask the tree.
struct RuleProgram::Source {
    const RLExpr* part = nullptr;
    std::string entryName = {};
    int from = 0;
    int to = 0;
    // The literal, where it converts to a text.
    std::string text = {};
};

// One part of a rule that has a truth value. A cache line, for hundreds are read for every push.
struct alignas(64) RuleProgram::Step {
    enum class Kind : unsigned char {
        Tree,      // asks the tree
        Constant,  // `truth`
        Change,    // the kind of change is `changeType`
        Exists,    // the sample has the entry
        Compare,   // elements of the entry pass
        Size,      // the element count of the entry passes
        Not,       // the operand doesn't hold
        Until,     // operands in order up to one that is `truth`
        Odd        // an odd number of operands holds
    };

    // Of a comparison that may have been too quick to tell.
    enum class Verdict : unsigned char { Fails, Passes, Unknown };

    explicit Step(const Source& madeOf) : source(&madeOf) {}

    Kind kind = Kind::Tree;
    Operator op = equal;
    bool truth = false;
    StreamChangeType changeType = pushed;
    // Steps up to the next operand: this one and its operands with all of theirs.
    std::uint32_t length = 1;
    EntryBinding entry;
    ConvertedLiteral literal;
    const Source* source;
    // Whether all elements are compared, as a bare name asks for.
    bool isWhole = false;

    const Step* Operands() const { return this + 1; }
    const Step* End() const { return this + length; }

    bool Exists(const SampleView& sample) const { return AnyEntryIn(sample).type != UnknownType; }

    // Whether the one number of an entry passes, where it is of a frequent type and the sample's
    // type is the one asked last; else nothing is known.
    Verdict CompareQuickly(const SampleView& sample) const {
        return entry.WithKnown(
            sample,
            [&](EntryBinding::Entry known) {
                // The type first: there are no bytes of an entry that doesn't exist.
                if (known.type == quickDouble) {
                    return CompareOne<double>(sample.BytesOfKnown(known.id));
                }
                if (known.type == quickInt32) {
                    return CompareOne<int>(sample.BytesOfKnown(known.id));
                }
                return Verdict::Unknown;
            },
            Verdict::Unknown);
    }

    bool Compare(const SampleView& sample) const {
        const auto [id, boundType] = entry.In(sample, source->entryName,
                                              [this](BaseType declared) { return Kept(declared); });
        const BaseType type = boundType == quickDouble  ? Double
                              : boundType == quickInt32 ? Int32
                                                        : boundType;
        if (type == UnknownType) {
            return false;
        }
        const std::string_view bytes = sample.Bytes(id);
        std::size_t count = traits::ElementCount(type, bytes.size());
        std::size_t first = 0;
        if (!isWhole) {
            const auto end = static_cast<long long>(count) - 1;
            const long long begin = source->from < 0 ? 0 : source->from;
            const long long last = source->to < 0 || source->to > end ? end : source->to;
            count = begin <= last ? static_cast<std::size_t>(last - begin + 1) : 0;
            first = static_cast<std::size_t>(begin);
        }
        if (count == 0) {
            return false;
        }
        // Every element of a string is the whole string.
        if (type == String) {
            return Passes<std::string_view>(bytes, op, source->text);
        }
        const unsigned int width = traits::ElementSize(type);
        return AllPass(type, bytes.data() + first * width, count * width, op, literal);
    }

    bool CompareSize(const SampleView& sample) const {
        const auto [id, type] = AnyEntryIn(sample);
        if (type == UnknownType || !literal.FitsInto(UInt32)) {
            return false;
        }
        const std::size_t size = traits::ElementCount(type, sample.Bytes(id).size());
        return Passes(static_cast<unsigned int>(size), op, literal.As<unsigned int>());
    }

  private:
    // Beside the value types: whole entries of them, to be compared quickly where they have one
    // element.
    static constexpr auto quickDouble = static_cast<BaseType>(traits::lastType + 1);
    static constexpr auto quickInt32 = static_cast<BaseType>(traits::lastType + 2);
    // A number that a host has declared in place of a type.
    static constexpr auto notAType = static_cast<BaseType>(traits::lastType + 3);

    // What is remembered of an entry's type; `UnknownType` where no element can pass.
    BaseType Kept(BaseType declared) const {
        if (!literal.FitsInto(declared)) {
            return UnknownType;
        }
        if (isWhole && declared == Double) {
            return quickDouble;
        }
        return isWhole && declared == Int32 ? quickInt32 : declared;
    }

    // Whether an entry of one number passes: the operator has a bit each for less, equal, greater.
    template <class T>
    Verdict CompareOne(std::string_view bytes) const {
        if (bytes.size() != sizeof(T)) [[unlikely]] {
            return Verdict::Unknown;
        }
        const T value = traits::Load<T>(bytes.data());
        const T other = literal.As<T>();
        // No number compares like one that is none.
        if constexpr (std::is_floating_point_v<T>) {
            if (std::isnan(value) || std::isnan(other)) [[unlikely]] {
                return Verdict::Unknown;
            }
        }
        const int outcome = 1 + (value > other ? 1 : 0) - (value < other ? 1 : 0);
        return static_cast<Verdict>((op >> outcome) & 1);
    }

    EntryBinding::Entry AnyEntryIn(const SampleView& sample) const {
        return entry.In(sample, source->entryName,
                        [](BaseType type) { return type <= traits::lastType ? type : notAType; });
    }
};

// Lays the tree out as steps.
class RuleProgram::Builder {
  public:
    explicit Builder(RuleProgram& builtPlan) : plan(builtPlan) {}

    void Append(const RLExpr* expression) {
        const std::size_t index = plan.steps.size();
        plan.steps.emplace_back(plan.sources.emplace_back(Source{expression}));
        if (expression != nullptr && depth < maxDepth) {
            ++depth;
            Know(expression, index);
            --depth;
        }
        plan.steps[index].length = static_cast<std::uint32_t>(plan.steps.size() - index);
    }

  private:
    using Kind = Step::Kind;

    // Beyond this the tree is asked: a tree may be deeper than the call stack.
    static constexpr int maxDepth = 1000;

    // Makes the step at the index more than one that asks the tree, if the node is of a kind whose
    // value is a truth value.
    void Know(const RLExpr* expression, std::size_t index) {
        if (const auto* exists = Exactly<RLExistsExpr>(expression)) {
            KnowEntry(Kind::Exists, exists->entryName());
        } else if (const auto* function = Exactly<RLFuncExpr>(expression)) {
            KnowFunction(plan.steps[index], function->functionName());
        } else if (const auto* negation = Exactly<RLNotExpr>(expression)) {
            plan.steps[index].kind = Kind::Not;
            Append(negation->negatedOperand());
        } else if (Exactly<RLAndExpr>(expression) != nullptr) {
            KnowChain<RLAndExpr>(expression, index, false);
        } else if (Exactly<RLOrExpr>(expression) != nullptr) {
            KnowChain<RLOrExpr>(expression, index, true);
        } else if (Exactly<RLXorExpr>(expression) != nullptr) {
            KnowOdd(expression, index);
        } else if (const auto* comparison = AsComparison(expression)) {
            KnowComparison(*comparison);
        }
    }

    // Of the step that was appended last.
    void KnowEntry(Kind kind, const std::string& name) {
        plan.steps.back().kind = kind;
        plan.sources.back().entryName = name;
    }

    static void KnowFunction(Step& step, const std::string& name) {
        step.kind = name == "pushed" || name == "popped" || name == "changed" ? Kind::Change
                                                                              : Kind::Constant;
        step.truth = name == "true";
        step.changeType = name == "popped" ? popped : name == "changed" ? changed : pushed;
    }

    void KnowComparison(const RLRelExpr& comparison) {
        const RLExpr* const left = comparison.leftOperand();
        const ConvertedLiteral literal(comparison.literal());
        if (left == nullptr || !literal.IsFaithful()) {
            return;
        }
        Step& step = plan.steps.back();
        if (const auto* elements = Exactly<RLIndexExpr>(left)) {
            KnowEntry(Kind::Compare, elements->entryName());
            plan.sources.back().from = elements->first();
            plan.sources.back().to = elements->last();
            step.isWhole = elements->first() <= 0 && elements->last() < 0;
        } else if (const auto* property = Exactly<RLPropExpr>(left);
                   property != nullptr && property->propertyName() == "size") {
            KnowEntry(Kind::Size, property->entryName());
        } else {
            return;
        }
        step.op = OperatorOf(comparison);
        step.literal = literal;
        if (literal.FitsInto(String)) {
            plan.sources.back().text = ConvertedLiteral::AsText(comparison.literal());
        }
    }

    template <class Node>
    void KnowChain(const RLExpr* last, std::size_t index, bool ending) {
        plan.steps[index].kind = Kind::Until;
        plan.steps[index].truth = ending;
        AppendOperands<Node>(last);
    }

    void KnowOdd(const RLExpr* last, std::size_t index) {
        AppendOperands<RLXorExpr>(last);
        const auto operands = plan.steps.begin() + static_cast<std::ptrdiff_t>(index) + 1;
        const bool mayThrow = std::any_of(operands, plan.steps.end(),
                                          [](const Step& step) { return step.kind == Kind::Tree; });
        if (!mayThrow) {
            plan.steps[index].kind = Kind::Odd;
            return;
        }
        // The operands are asked in another order than the tree's, which only a throw could tell.
        while (plan.steps.size() > index + 1) {
            plan.steps.pop_back();
        }
    }

    // The operands of a chain of one operator, in the order written.
    template <class Node>
    void AppendOperands(const RLExpr* last) {
        std::vector<const RLExpr*> operands;
        const RLExpr* rest = last;
        while (rest != nullptr && Exactly<Node>(rest) != nullptr) {
            operands.push_back(static_cast<const Node*>(rest)->rightOperand());
            rest = static_cast<const Node*>(rest)->leftOperand();
        }
        operands.push_back(rest);
        for (auto operand = operands.rbegin(); operand != operands.rend(); ++operand) {
            Append(*operand);
        }
    }

    RuleProgram& plan;
    int depth = 0;
};

RuleProgram::RuleProgram(std::shared_ptr<RLExpr> parsed) : tree(std::move(parsed)) {
    Builder(*this).Append(tree.get());
    FindComparisons();
    pure = IsOfLibrary(tree.get());
}

RuleProgram::~RuleProgram() = default;

bool RuleProgram::Holds(const SubscriptionArgs& args) const {
    if (args.sample == nullptr || !IsExactSample(*args.sample)) {
        return valueOf(tree.get(), args).convert<bool>();
    }
    return Holds(SampleView(*args.sample), args);
}

// The way of most rules: comparisons of numbers. Whatever else it meets, it leaves to the other,
// which begins anew: asking twice can't be told.
bool RuleProgram::Holds(const SampleView& sample, const SubscriptionArgs& args) const {
    for (const Step* step = comparisons; step != comparisonsEnd; ++step) {
        const Step::Verdict verdict = step->CompareQuickly(sample);
        if (verdict == static_cast<Step::Verdict>(decisive)) {
            return decisive;
        }
        if (verdict == Step::Verdict::Unknown) [[unlikely]] {
            return Holds(steps.front(), sample, args);
        }
    }
    return comparisons != nullptr ? !decisive : Holds(steps.front(), sample, args);
}

// Finds the comparisons of a rule that is one, or a chain of nothing else.
void RuleProgram::FindComparisons() {
    const Step& front = steps.front();
    const bool isChain = front.kind == Step::Kind::Until;
    const Step* const begin = isChain ? front.Operands() : &front;
    const auto isComparison = [](const Step& step) { return step.kind == Step::Kind::Compare; };
    if (!std::all_of(begin, front.End(), isComparison)) {
        return;
    }
    comparisons = begin;
    comparisonsEnd = front.End();
    decisive = isChain && front.truth;
}

bool RuleProgram::Holds(const Step& step, const SampleView& sample, const SubscriptionArgs& args) {
    switch (step.kind) {
        case Step::Kind::Tree:
            return valueOf(step.source->part, args).convert<bool>();
        case Step::Kind::Constant:
            return step.truth;
        case Step::Kind::Change:
            return args.changeType == step.changeType;
        case Step::Kind::Exists:
            return step.Exists(sample);
        case Step::Kind::Compare:
            return step.Compare(sample);
        case Step::Kind::Size:
            return step.CompareSize(sample);
        case Step::Kind::Not:
            return !Holds(*step.Operands(), sample, args);
        case Step::Kind::Until:
            for (const Step* operand = step.Operands(); operand != step.End();
                 operand = operand->End()) {
                if (Holds(*operand, sample, args) == step.truth) {
                    return step.truth;
                }
            }
            return !step.truth;
        case Step::Kind::Odd: {
            bool odd = false;
            for (const Step* operand = step.Operands(); operand != step.End();
                 operand = operand->End()) {
                odd ^= Holds(*operand, sample, args);
            }
            return odd;
        }
    }
    return false;
}

}  // namespace velmora::core::tessaryn
