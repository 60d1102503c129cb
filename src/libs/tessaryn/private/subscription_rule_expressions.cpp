// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/subscription_rule_expressions.h"

#include "tessaryn/dump_indent.h"
#include "tessaryn/overloaded.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/visit_type.h"

#include <Poco/Exception.h>

#include <array>
#include <cstddef>
#include <functional>
#include <ostream>
#include <type_traits>
#include <typeinfo>
#include <utility>

namespace velmora::core::tessaryn {

using Poco::Dynamic::Var;

namespace {

using Elements = std::vector<Var>;

bool toBool(const std::shared_ptr<RLExpr>& expression, const SubscriptionArgs& args) {
    return valueOf(expression.get(), args).convert<bool>();
}

void dumpLine(std::ostream& out, int indent, const std::string& text) {
    out << IndentFor(out, indent) << text << std::endl;
}

void dumpOperand(const RLExpr* operand, std::ostream& out, int indent) {
    if (operand != nullptr) {
        operand->dump(out, indent);
    }
}

// One element as a value of exactly the type that the sample's getter returns.
Var readElement(const Sample& sample, unsigned short entry, BaseType type, unsigned int index) {
    const auto read = Overloaded{
        [&](std::type_identity<char>) { return Var(sample.GetInt8(entry, index)); },
        [&](std::type_identity<short>) { return Var(sample.GetInt16(entry, index)); },
        [&](std::type_identity<int>) { return Var(sample.GetInt32(entry, index)); },
        [&](std::type_identity<long long>) { return Var(sample.GetInt64(entry, index)); },
        [&](std::type_identity<unsigned char>) { return Var(sample.GetUInt8(entry, index)); },
        [&](std::type_identity<unsigned short>) { return Var(sample.GetUInt16(entry, index)); },
        [&](std::type_identity<unsigned int>) { return Var(sample.GetUInt32(entry, index)); },
        [&](std::type_identity<unsigned long long>) { return Var(sample.GetUInt64(entry, index)); },
        [&](std::type_identity<float>) { return Var(sample.GetFloat(entry, index)); },
        [&](std::type_identity<double>) { return Var(sample.GetDouble(entry, index)); },
        [&](std::type_identity<bool>) { return Var(sample.GetBool(entry, index)); },
        [&](std::type_identity<std::string>) { return Var(sample.GetString(entry)); },
        [](std::type_identity<void>) { return Var(); }};
    return VisitType(type, read);
}

template <class Compare>
bool compareElement(BaseType type, const Var& element, const Var& literal, Compare compare) {
    return VisitType(type, [&]<class Native>(std::type_identity<Native>) {
        if constexpr (std::is_void_v<Native>) {
            return false;
        } else {
            // The conversion to `char` takes a text for a character and refuses negative numbers.
            using Converted = std::conditional_t<std::is_same_v<Native, char>, Poco::Int8, Native>;
            const Native& own = element.extract<Native>();
            const auto other = literal.convert<Converted>();
            return compare(static_cast<const Converted&>(own), other);
        }
    });
}

// A sample that was moved from has no type, and so no entries.
bool hasEntry(const Sample& sample, const std::string& name) {
    const StreamType* const type = sample.GetStreamType();
    return type != nullptr && type->EntryExists(name);
}

// Same as `ToString(BaseType)`, but "Unknown" for `UnknownType` and for a value above 12.
std::string typeNameOf(BaseType type) {
    const std::string name = ToString(type);
    return name == "UnknownType" ? "Unknown" : name;
}

}  // namespace

RLExpr::~RLExpr() = default;

Var valueOf(const RLExpr* expression, const SubscriptionArgs& args) {
    return expression == nullptr ? Var() : expression->evaluate(args).value;
}

// Visits the nodes of a chain without recursion, and without an allocation for a short chain.
class RLBinaryExpr::Chain {
  public:
    explicit Chain(const RLBinaryExpr& last) {
        for (const auto* node = &last; node != nullptr; node = node->leftOfSameOperator()) {
            if (length < shortNodes.size()) {
                shortNodes[length] = node;
            } else {
                moreNodes.push_back(node);
            }
            ++length;
        }
    }

    // Number of nodes: one less than there are operands.
    std::size_t Length() const { return length; }

    const RLBinaryExpr& operator[](std::size_t i) const {
        return i < shortNodes.size() ? *shortNodes[i] : *moreNodes[i - shortNodes.size()];
    }

    const std::shared_ptr<RLExpr>& FirstOperand() const { return (*this)[length - 1].left; }

  private:
    std::size_t length = 0;
    std::array<const RLBinaryExpr*, 16> shortNodes;
    std::vector<const RLBinaryExpr*> moreNodes;
};

RLBinaryExpr::RLBinaryExpr(std::shared_ptr<RLExpr> left, std::shared_ptr<RLExpr> right, char symbol)
    : left(std::move(left)), right(std::move(right)), symbol(symbol) {}

RLBinaryExpr::~RLBinaryExpr() {
    // Destroys the chain node by node, down to the first node that is shared.
    std::shared_ptr<RLExpr> rest = std::move(left);
    while (rest && rest.use_count() == 1) {
        auto* const node = dynamic_cast<RLBinaryExpr*>(rest.get());
        if (node == nullptr) {
            break;
        }
        rest = std::exchange(node->left, nullptr);
    }
}

const RLBinaryExpr* RLBinaryExpr::leftOfSameOperator() const {
    // Nodes of a host's class are evaluated one by one, since it may override `evaluate`.
    const std::type_info& type = typeid(*this);
    const bool isOfLibrary =
        type == typeid(RLAndExpr) || type == typeid(RLOrExpr) || type == typeid(RLXorExpr);
    const RLExpr* const node = left.get();
    const bool isSame = isOfLibrary && node != nullptr && typeid(*node) == type;
    return isSame ? static_cast<const RLBinaryExpr*>(node) : nullptr;
}

bool RLBinaryExpr::evaluateUntil(bool decisive, const SubscriptionArgs& args) const {
    const Chain nodes(*this);
    bool holds = toBool(nodes.FirstOperand(), args);
    for (std::size_t i = nodes.Length(); i > 0 && holds != decisive; --i) {
        holds = toBool(nodes[i - 1].right, args);
    }
    return holds;
}

std::vector<Var> RLBinaryExpr::evaluateBackwards(const SubscriptionArgs& args) const {
    const Chain nodes(*this);
    std::vector<Var> values;
    values.reserve(nodes.Length() + 1);
    for (std::size_t i = 0; i < nodes.Length(); ++i) {
        values.push_back(valueOf(nodes[i].right.get(), args));
    }
    values.push_back(valueOf(nodes.FirstOperand().get(), args));
    return values;
}

void RLBinaryExpr::dump(std::ostream& out, int indent) const {
    const Chain nodes(*this);
    const int depth = static_cast<int>(nodes.Length());
    for (int i = 0; i < depth; ++i) {
        dumpLine(out, indent + i, std::string(2, symbol));
    }
    dumpOperand(nodes.FirstOperand().get(), out, indent + depth);
    for (int i = depth; i > 0; --i) {
        const auto node = static_cast<std::size_t>(i - 1);
        dumpOperand(nodes[node].right.get(), out, indent + i);
    }
}

RLAndExpr::RLAndExpr(std::shared_ptr<RLExpr> left, std::shared_ptr<RLExpr> right)
    : RLBinaryExpr(std::move(left), std::move(right), '&') {}

TypedValue RLAndExpr::evaluate(const SubscriptionArgs& args) const {
    return TypedValue(evaluateUntil(false, args));
}

RLOrExpr::RLOrExpr(std::shared_ptr<RLExpr> left, std::shared_ptr<RLExpr> right)
    : RLBinaryExpr(std::move(left), std::move(right), '|') {}

TypedValue RLOrExpr::evaluate(const SubscriptionArgs& args) const {
    return TypedValue(evaluateUntil(true, args));
}

RLXorExpr::RLXorExpr(std::shared_ptr<RLExpr> left, std::shared_ptr<RLExpr> right)
    : RLBinaryExpr(std::move(left), std::move(right), '^') {}

TypedValue RLXorExpr::evaluate(const SubscriptionArgs& args) const {
    std::vector<Var> values = evaluateBackwards(args);
    bool isOdd = false;
    for (; !values.empty(); values.pop_back()) {
        isOdd ^= values.back().convert<bool>();
    }
    return TypedValue(isOdd);
}

RLNotExpr::RLNotExpr(std::shared_ptr<RLExpr> operand) : operand(std::move(operand)) {}

TypedValue RLNotExpr::evaluate(const SubscriptionArgs& args) const {
    return TypedValue(!toBool(operand, args));
}

void RLNotExpr::dump(std::ostream& out, int indent) const {
    dumpLine(out, indent, "!");
    dumpOperand(operand.get(), out, indent + 1);
}

RLRelExpr::RLRelExpr(std::shared_ptr<RLExpr> left, const Var& value)
    : left(std::move(left)), value(value) {}

RLRelExpr::~RLRelExpr() = default;

TypedValue RLRelExpr::evaluate(const SubscriptionArgs& args) const {
    try {
        return TypedValue(evaluateImpl(args));
    } catch (const Poco::Exception&) {
        // A literal that is not convertible to the entry's type does not match.
        return TypedValue(false);
    }
}

void RLRelExpr::dump(std::ostream& out, int indent) const {
    dumpLine(out, indent, symbol());
    dumpOperand(left.get(), out, indent + 1);
    dumpLine(out, indent + 1, value.toString());
}

template <class Compare>
bool RLRelExpr::compareWith(const SubscriptionArgs& args, Compare compare) const {
    const TypedValue own = left ? left->evaluate(args) : TypedValue();
    if (own.value.type() != typeid(Elements)) {
        return compareElement(own.type, own.value, value, compare);
    }
    for (const Var& element : own.value.extract<Elements>()) {
        if (!compareElement(own.type, element, value, compare)) {
            return false;
        }
    }
    return true;
}

const char* RLRelExpr::symbol() const {
    return "";
}

bool RLEqExpr::evaluateImpl(const SubscriptionArgs& args) const {
    return compareWith(args, std::equal_to<>());
}

bool RLNeExpr::evaluateImpl(const SubscriptionArgs& args) const {
    return compareWith(args, std::not_equal_to<>());
}

bool RLLtExpr::evaluateImpl(const SubscriptionArgs& args) const {
    return compareWith(args, std::less<>());
}

bool RLLeExpr::evaluateImpl(const SubscriptionArgs& args) const {
    return compareWith(args, std::less_equal<>());
}

bool RLGtExpr::evaluateImpl(const SubscriptionArgs& args) const {
    return compareWith(args, std::greater<>());
}

bool RLGeExpr::evaluateImpl(const SubscriptionArgs& args) const {
    return compareWith(args, std::greater_equal<>());
}

const char* RLEqExpr::symbol() const {
    return "==";
}

const char* RLNeExpr::symbol() const {
    return "!=";
}

const char* RLLtExpr::symbol() const {
    return "<";
}

const char* RLLeExpr::symbol() const {
    return "<=";
}

const char* RLGtExpr::symbol() const {
    return ">";
}

const char* RLGeExpr::symbol() const {
    return ">=";
}

RLPropExpr::RLPropExpr(const std::string& object, const std::string& property)
    : object(object), property(property) {}

TypedValue RLPropExpr::evaluate(const SubscriptionArgs& args) const {
    const Sample& sample = *args.sample;
    if (!hasEntry(sample, object)) {
        return property == "exists" ? TypedValue(false) : TypedValue();
    }
    const StreamType& streamType = *sample.GetStreamType();
    const unsigned short entry = streamType.EntryId(object);
    const BaseType type = streamType.GetType(entry);
    if (property == "type") {
        return {String, typeNameOf(type)};
    }
    if (property == "size") {
        return {UInt32, sample.GetSize(entry)};
    }
    if (property == "exists") {
        return TypedValue(true);
    }
    if (property == "front") {
        return {type, readElement(sample, entry, type, 0)};
    }
    if (property == "back") {
        return {type, readElement(sample, entry, type, sample.GetSize(entry) - 1)};
    }
    return {};
}

void RLPropExpr::dump(std::ostream& out, int indent) const {
    dumpLine(out, indent, "prop: " + object + "." + property);
}

RLFuncExpr::RLFuncExpr(const std::string& name) : name(name) {}

TypedValue RLFuncExpr::evaluate(const SubscriptionArgs& args) const {
    if (name == "pushed") {
        return TypedValue(args.changeType == pushed);
    }
    if (name == "popped") {
        return TypedValue(args.changeType == popped);
    }
    if (name == "changed") {
        return TypedValue(args.changeType == changed);
    }
    return TypedValue(name == "true");
}

void RLFuncExpr::dump(std::ostream& out, int indent) const {
    dumpLine(out, indent, "func: " + name);
}

RLIndexExpr::RLIndexExpr(const std::string& name, int from, int to)
    : name(name), from(from), to(to) {}

TypedValue RLIndexExpr::evaluate(const SubscriptionArgs& args) const {
    const Sample& sample = *args.sample;
    if (!hasEntry(sample, name)) {
        return {};
    }
    const StreamType& streamType = *sample.GetStreamType();
    const unsigned short entry = streamType.EntryId(name);
    const BaseType type = streamType.GetType(entry);
    const long long size = sample.GetSize(entry);
    const long long begin = from < 0 ? 0 : from;
    const long long end = to < 0 || to >= size ? size - 1 : to;
    if (begin > end) {
        return {};
    }
    if (begin == end) {
        return {type, readElement(sample, entry, type, static_cast<unsigned int>(begin))};
    }
    Elements elements;
    elements.reserve(static_cast<std::size_t>(end - begin + 1));
    for (long long i = begin; i <= end; ++i) {
        elements.push_back(readElement(sample, entry, type, static_cast<unsigned int>(i)));
    }
    return {type, elements};
}

void RLIndexExpr::dump(std::ostream& out, int indent) const {
    dumpLine(out, indent,
             "index: " + name + "[" + std::to_string(from) + ":" + std::to_string(to) + "]");
}

RLExistsExpr::RLExistsExpr(const std::string& name) : name(name) {}

TypedValue RLExistsExpr::evaluate(const SubscriptionArgs& args) const {
    return TypedValue(hasEntry(*args.sample, name));
}

void RLExistsExpr::dump(std::ostream& out, int indent) const {
    dumpLine(out, indent, "exists: " + name);
}

}  // namespace velmora::core::tessaryn
