// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/private/typed_value.h"
#include "tessaryn/subscription_args.h"

#include <Poco/Dynamic/Var.h>

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {

/// A node of a parsed rule: immutable, so that rules may share trees between threads.
///
/// Evaluation only reads: the sample's entries by name, and the kind of change. Operands may be
/// null; a null operand has the empty value and prints nothing. The use of the call stack does not
/// depend on the length of a chain of one operator ("a && b && c ..."), whether it is evaluated,
/// printed or destroyed. A part that is shared is evaluated and printed at each place.
///
/// \threadsafety immutable: several threads may evaluate one tree, each with its own arguments
class TESSARYN_API RLExpr {
  public:
    RLExpr& operator=(const RLExpr&) = default;

    // The order of the virtual operations is part of the binary interface.

    /// The node's value for a change.
    /// \throws Poco::InvalidAccessException "Can not convert empty value." when an operand that is
    /// converted to bool has no value
    /// \throws Poco::BadCastException when an operand is not convertible to bool
    /// \throws std::out_of_range when an entry without elements is asked for its first or last one
    virtual TypedValue evaluate(const SubscriptionArgs& args) const = 0;
    /// Prints the tree, one line for each node, operands below their operator and indented by one
    /// blank more.
    /// \param indent blanks before the first line
    virtual void dump(std::ostream& out, int indent) const = 0;

  protected:
    RLExpr() = default;
    RLExpr(const RLExpr&) = default;
    virtual ~RLExpr();
};

/// The value of an expression; empty for null.
/// \param expression \ownership observes: may be null
/// \throws what `RLExpr::evaluate` throws
TESSARYN_API Poco::Dynamic::Var valueOf(const RLExpr* expression, const SubscriptionArgs& args);

/// Base of the operators on two conditions, which are written as one doubled character.
/// \threadsafety immutable
class TESSARYN_API RLBinaryExpr : public RLExpr {
  public:
    RLBinaryExpr(const RLBinaryExpr&) = default;
    RLBinaryExpr& operator=(const RLBinaryExpr&) = default;
    void dump(std::ostream& out, int indent) const override;

    /// The left operand; may be null. \ownership lends
    const RLExpr* leftOperand() const { return left.get(); }
    /// The right operand; may be null. \ownership lends
    const RLExpr* rightOperand() const { return right.get(); }

  protected:
    /// The nodes of one operator, from the last one down the left operands to the first.
    class Chain;

    /// \param left may be null
    /// \param right may be null
    /// \param symbol the character that is doubled
    RLBinaryExpr(std::shared_ptr<RLExpr> left, std::shared_ptr<RLExpr> right, char symbol);
    ~RLBinaryExpr() override;

    /// Evaluates the operands in the order written and converts each to bool, up to the first that
    /// is `decisive`.
    /// \return `decisive` when an operand was
    bool evaluateUntil(bool decisive, const SubscriptionArgs& args) const;
    /// The values of the operands, the last one first.
    std::vector<Poco::Dynamic::Var> evaluateBackwards(const SubscriptionArgs& args) const;

  private:
    const RLBinaryExpr* leftOfSameOperator() const;

    std::shared_ptr<RLExpr> left;
    std::shared_ptr<RLExpr> right;
    char symbol;
};

/// "&&": the right operand is not evaluated when the left one is false.
/// \threadsafety immutable
class TESSARYN_API RLAndExpr : public RLBinaryExpr {
  public:
    /// \param left may be null
    /// \param right may be null
    RLAndExpr(std::shared_ptr<RLExpr> left, std::shared_ptr<RLExpr> right);
    TypedValue evaluate(const SubscriptionArgs& args) const override;
};

/// "||": the right operand is not evaluated when the left one is true.
/// \threadsafety immutable
class TESSARYN_API RLOrExpr : public RLBinaryExpr {
  public:
    /// \param left may be null
    /// \param right may be null
    RLOrExpr(std::shared_ptr<RLExpr> left, std::shared_ptr<RLExpr> right);
    TypedValue evaluate(const SubscriptionArgs& args) const override;
};

/// "^^": evaluates right, then left; converts left, then right.
/// \threadsafety immutable
class TESSARYN_API RLXorExpr : public RLBinaryExpr {
  public:
    /// \param left may be null
    /// \param right may be null
    RLXorExpr(std::shared_ptr<RLExpr> left, std::shared_ptr<RLExpr> right);
    TypedValue evaluate(const SubscriptionArgs& args) const override;
};

/// "!".
/// \threadsafety immutable
class TESSARYN_API RLNotExpr : public RLExpr {
  public:
    /// \param operand may be null
    explicit RLNotExpr(std::shared_ptr<RLExpr> operand);
    TypedValue evaluate(const SubscriptionArgs& args) const override;
    void dump(std::ostream& out, int indent) const override;

    /// The operand; may be null. \ownership lends
    const RLExpr* negatedOperand() const { return operand.get(); }

  private:
    std::shared_ptr<RLExpr> operand;
};

/// Base of the comparisons of a value with a literal.
///
/// The literal is converted to the type of the value, and both are compared as that type: 7.5
/// equals the integer 7. A literal that cannot be converted makes every comparison false, "!="
/// included, and so does a missing value. Several elements pass when each of them does.
/// \threadsafety immutable
class TESSARYN_API RLRelExpr : public RLExpr {
  public:
    /// \param left what is compared; may be null
    /// \param value the literal that it is compared with
    RLRelExpr(std::shared_ptr<RLExpr> left, const Poco::Dynamic::Var& value);
    RLRelExpr(const RLRelExpr&) = default;
    RLRelExpr& operator=(const RLRelExpr&) = default;
    /// Whether the comparison holds; false where it raises any `Poco::Exception`.
    TypedValue evaluate(const SubscriptionArgs& args) const override;
    void dump(std::ostream& out, int indent) const override;

    /// The left side; may be null. \ownership lends
    const RLExpr* leftOperand() const { return left.get(); }
    /// The literal on the right side.
    const Poco::Dynamic::Var& literal() const { return value; }

  protected:
    ~RLRelExpr() override;

    /// Whether the comparison holds.
    /// \throws Poco::Exception when the literal is not convertible or there is no value
    virtual bool evaluateImpl(const SubscriptionArgs& args) const = 0;

  public:
    /// The operator as it is written; empty unless a class says otherwise.
    virtual const char* symbol() const;

  protected:
    /// Whether the left value, or each of its elements, passes the comparison with the literal.
    /// \param compare is given an element and the literal, both of the element's type
    template <class Compare>
    bool compareWith(const SubscriptionArgs& args, Compare compare) const;

  private:
    std::shared_ptr<RLExpr> left;
    Poco::Dynamic::Var value;
};

/// "=="
/// \threadsafety immutable
class TESSARYN_API RLEqExpr : public RLRelExpr {
  public:
    using RLRelExpr::RLRelExpr;
    const char* symbol() const override;

  protected:
    bool evaluateImpl(const SubscriptionArgs& args) const override;
};

/// "!="
/// \threadsafety immutable
class TESSARYN_API RLNeExpr : public RLRelExpr {
  public:
    using RLRelExpr::RLRelExpr;
    const char* symbol() const override;

  protected:
    bool evaluateImpl(const SubscriptionArgs& args) const override;
};

/// "<"
/// \threadsafety immutable
class TESSARYN_API RLLtExpr : public RLRelExpr {
  public:
    using RLRelExpr::RLRelExpr;
    const char* symbol() const override;

  protected:
    bool evaluateImpl(const SubscriptionArgs& args) const override;
};

/// "<="
/// \threadsafety immutable
class TESSARYN_API RLLeExpr : public RLRelExpr {
  public:
    using RLRelExpr::RLRelExpr;
    const char* symbol() const override;

  protected:
    bool evaluateImpl(const SubscriptionArgs& args) const override;
};

/// ">"
/// \threadsafety immutable
class TESSARYN_API RLGtExpr : public RLRelExpr {
  public:
    using RLRelExpr::RLRelExpr;
    const char* symbol() const override;

  protected:
    bool evaluateImpl(const SubscriptionArgs& args) const override;
};

/// ">="
/// \threadsafety immutable
class TESSARYN_API RLGeExpr : public RLRelExpr {
  public:
    using RLRelExpr::RLRelExpr;
    const char* symbol() const override;

  protected:
    bool evaluateImpl(const SubscriptionArgs& args) const override;
};

/// "entry.property": type, size, exists, front or back of an entry.
///
/// Of an entry that the sample does not have, only "exists" has a value; nor has any other
/// property.
/// \threadsafety immutable
class TESSARYN_API RLPropExpr : public RLExpr {
  public:
    /// \param object the entry's name
    RLPropExpr(const std::string& object, const std::string& property);
    TypedValue evaluate(const SubscriptionArgs& args) const override;
    void dump(std::ostream& out, int indent) const override;

    const std::string& entryName() const { return object; }
    const std::string& propertyName() const { return property; }

  private:
    std::string object;
    std::string property;
};

/// "name()": pushed, popped, changed, true; every other function is false.
/// \threadsafety immutable
class TESSARYN_API RLFuncExpr : public RLExpr {
  public:
    explicit RLFuncExpr(const std::string& name);
    TypedValue evaluate(const SubscriptionArgs& args) const override;
    void dump(std::ostream& out, int indent) const override;

    const std::string& functionName() const { return name; }

  private:
    std::string name;
};

/// "entry[from:to]": elements of an entry, both ends included.
///
/// A negative `from` means the first element; a negative `to`, or one beyond the last element,
/// means the last. One element is a scalar, several are a vector; a `from` beyond `to` and a
/// missing entry have no value. An element of a `String` is the entire string.
///
/// \threadsafety immutable
class TESSARYN_API RLIndexExpr : public RLExpr {
  public:
    /// \param name the entry's name
    /// \param from index of the first element
    /// \param to index of the last element
    RLIndexExpr(const std::string& name, int from, int to);
    TypedValue evaluate(const SubscriptionArgs& args) const override;
    void dump(std::ostream& out, int indent) const override;

    const std::string& entryName() const { return name; }
    /// Index of the first element as written; negative for the very first.
    int first() const { return from; }
    /// Index of the last element as written; negative for the very last.
    int last() const { return to; }

  private:
    std::string name;
    int from;
    int to;
};

/// "entry": whether the sample has the entry.
/// \threadsafety immutable
class TESSARYN_API RLExistsExpr : public RLExpr {
  public:
    /// \param name the entry's name
    explicit RLExistsExpr(const std::string& name);
    TypedValue evaluate(const SubscriptionArgs& args) const override;
    void dump(std::ostream& out, int indent) const override;

    const std::string& entryName() const { return name; }

  private:
    std::string name;
};

}  // namespace velmora::core::tessaryn
