// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/subscription_args.h"
#include "tessaryn/subscription_rule.h"

#include <memory>
#include <string>

namespace velmora::core::tessaryn {

class RLExpr;
class RuleProgram;

/// Applies to every change.
/// \threadsafety immutable
class TESSARYN_API AlwaysRule : public ISubscriptionRule {
  public:
    AlwaysRule() = default;
    ~AlwaysRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;
};

/// Applies where both operands do; the right one is not asked when the left one does not apply.
///
/// As all owning rules it can be duplicated by `Clone` only: a copy would share the operands, and
/// both would delete them.
/// \threadsafety immutable
class TESSARYN_API AndRule : public ISubscriptionRule {
  public:
    /// \param left \ownership takes: asked first, not null
    /// \param right \ownership takes: not null
    AndRule(ISubscriptionRule* left, ISubscriptionRule* right);
    ~AndRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;

  protected:
    AndRule(const AndRule&) = default;             ///< shares the operands
    AndRule& operator=(const AndRule&) = default;  ///< shares the operands

  private:
    friend class PureRules;

    ISubscriptionRule* left;
    ISubscriptionRule* right;
};

/// Applies where an operand does; the right one is not asked when the left one applies.
/// \threadsafety immutable
class TESSARYN_API OrRule : public ISubscriptionRule {
  public:
    /// \param left \ownership takes: asked first, not null
    /// \param right \ownership takes: not null
    OrRule(ISubscriptionRule* left, ISubscriptionRule* right);
    ~OrRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;

  protected:
    OrRule(const OrRule&) = default;             ///< shares the operands
    OrRule& operator=(const OrRule&) = default;  ///< shares the operands

  private:
    friend class PureRules;

    ISubscriptionRule* left;
    ISubscriptionRule* right;
};

/// Applies where exactly one operand does; always asks both, left first.
/// \threadsafety immutable
class TESSARYN_API XorRule : public ISubscriptionRule {
  public:
    /// \param left \ownership takes: asked first, not null
    /// \param right \ownership takes: not null
    XorRule(ISubscriptionRule* left, ISubscriptionRule* right);
    ~XorRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;

  protected:
    XorRule(const XorRule&) = default;             ///< shares the operands
    XorRule& operator=(const XorRule&) = default;  ///< shares the operands

  private:
    friend class PureRules;

    ISubscriptionRule* left;
    ISubscriptionRule* right;
};

/// Applies where its operand does not.
/// \threadsafety immutable
class TESSARYN_API NotRule : public ISubscriptionRule {
  public:
    /// \param operand \ownership takes: not null
    explicit NotRule(ISubscriptionRule* operand);
    ~NotRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;

  protected:
    NotRule(const NotRule&) = default;             ///< shares the operands
    NotRule& operator=(const NotRule&) = default;  ///< shares the operands

  private:
    friend class PureRules;

    ISubscriptionRule* operand;
};

/// Applies to changes of one kind.
/// \threadsafety immutable
class TESSARYN_API StreamChangeTypeRule : public ISubscriptionRule {
  public:
    /// \param type the kind of change
    explicit StreamChangeTypeRule(StreamChangeType type);
    ~StreamChangeTypeRule() override;
    StreamChangeTypeRule(const StreamChangeTypeRule&) = default;             ///< copies
    StreamChangeTypeRule& operator=(const StreamChangeTypeRule&) = default;  ///< copies
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;

  private:
    StreamChangeType changeType;
};

/// Applies where an expression of the rule language holds.
///
/// The text is parsed once; copies and clones share the parsed tree. To ask it allocates nothing
/// where comparisons of elements, sizes and kinds of change are all it holds.
/// \threadsafety immutable
class TESSARYN_API ExpressionRule : public ISubscriptionRule {
  public:
    /// \param text an expression such as "x[1:2] == 5 && !y"
    /// \throws Poco::SyntaxException when the text is malformed
    explicit ExpressionRule(const std::string& text);
    ~ExpressionRule() override;
    ExpressionRule(const ExpressionRule&) = default;             ///< shares the tree
    ExpressionRule& operator=(const ExpressionRule&) = default;  ///< shares the tree
    /// Whether the expression's value converts to true.
    /// \param args the change
    /// \throws Poco::InvalidAccessException "Can not convert empty value." when the expression has
    /// no value, such as an entry that the sample doesn't have, read outside a comparison
    /// \throws Poco::BadCastException when the value is no truth value, such as several elements
    /// \throws std::out_of_range when an entry without elements is asked for its first or last one
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;

  protected:
    /// \param tree a parsed expression, shared
    explicit ExpressionRule(std::shared_ptr<RLExpr> tree);

  private:
    friend class PureRules;

    std::shared_ptr<RLExpr> expression;
    /// Answers for the tree, in a fraction of the time.
    std::shared_ptr<const RuleProgram> plan;
};

/// \name Making rules
/// Rules nest: `And(HasStreamChangeType(pushed), Expression("x > 2"))`. Each function takes over
/// the rules given to it and gives the new one to the caller, who normally hands it to a
/// `StreamSubscription`.
/// \throws std::bad_alloc: the rules given are then deleted
///@{

/// \return \ownership gives: a rule that applies to every change
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Always();
/// \param a \ownership takes: asked first, not null
/// \param b \ownership takes: not null
/// \return \ownership gives: a rule that applies where both do
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* And(ISubscriptionRule* a, ISubscriptionRule* b);
/// \param a \ownership takes: asked first, not null
/// \param b \ownership takes: not null
/// \return \ownership gives: a rule that applies where one or both do
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Or(ISubscriptionRule* a, ISubscriptionRule* b);
/// \param a \ownership takes: asked first, not null
/// \param b \ownership takes: not null
/// \return \ownership gives: a rule that applies where exactly one does
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Xor(ISubscriptionRule* a, ISubscriptionRule* b);
/// \param a \ownership takes: not null
/// \return \ownership gives: a rule that applies where `a` does not
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Not(ISubscriptionRule* a);
/// \param type the kind of change
/// \return \ownership gives: a rule that applies to changes of this kind
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* HasStreamChangeType(StreamChangeType type);
/// \param text an expression of the rule language
/// \return \ownership gives: a rule that applies where the expression holds
/// \throws Poco::SyntaxException when the text is malformed
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Expression(const std::string& text);
///@}

}  // namespace velmora::core::tessaryn
