// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/library_rule.h"
#include "tessaryn/subscription_args.h"
#include "tessaryn/subscription_rule.h"

#include <memory>
#include <optional>
#include <string>

namespace velmora::core::tessaryn {

class RLExpr;
class RuleProgram;

/// Applies to every change.
/// \threadsafety immutable
class TESSARYN_API AlwaysRule : public ISubscriptionRule, public LibraryRule {
  public:
    AlwaysRule() = default;
    ~AlwaysRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;
    bool IsPure() const override;
    std::optional<std::shared_ptr<RLExpr>> GetExpression() const override;
};

/// Applies if both operands do; the right one is evaluated only if the left one applies.
///
/// The constructors of the owning rules accept null operands, which `Applies` and `Clone` refuse
/// with std::invalid_argument. These rules are duplicated by `Clone` only: a copy shares the
/// operands, and both would delete them.
/// \threadsafety immutable
class TESSARYN_API AndRule : public ISubscriptionRule, public LibraryRule {
  public:
    /// \param left \ownership takes: asked first
    /// \param right \ownership takes
    AndRule(ISubscriptionRule* left, ISubscriptionRule* right);
    ~AndRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;
    bool IsPure() const override;
    std::optional<std::shared_ptr<RLExpr>> GetExpression() const override;

  protected:
    AndRule(const AndRule&) = default;
    AndRule& operator=(const AndRule&) = default;

  private:
    ISubscriptionRule* left;
    ISubscriptionRule* right;
};

/// Applies if at least one operand does; the right one is evaluated only if the left one does not
/// apply.
/// \threadsafety immutable
class TESSARYN_API OrRule : public ISubscriptionRule, public LibraryRule {
  public:
    /// \param left \ownership takes: asked first
    /// \param right \ownership takes
    OrRule(ISubscriptionRule* left, ISubscriptionRule* right);
    ~OrRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;
    bool IsPure() const override;
    std::optional<std::shared_ptr<RLExpr>> GetExpression() const override;

  protected:
    OrRule(const OrRule&) = default;
    OrRule& operator=(const OrRule&) = default;

  private:
    ISubscriptionRule* left;
    ISubscriptionRule* right;
};

/// Applies if exactly one operand does; always evaluates both, left first.
/// \threadsafety immutable
class TESSARYN_API XorRule : public ISubscriptionRule, public LibraryRule {
  public:
    /// \param left \ownership takes: asked first
    /// \param right \ownership takes
    XorRule(ISubscriptionRule* left, ISubscriptionRule* right);
    ~XorRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;
    bool IsPure() const override;
    std::optional<std::shared_ptr<RLExpr>> GetExpression() const override;

  protected:
    XorRule(const XorRule&) = default;
    XorRule& operator=(const XorRule&) = default;

  private:
    ISubscriptionRule* left;
    ISubscriptionRule* right;
};

/// Applies if its operand does not.
/// \threadsafety immutable
class TESSARYN_API NotRule : public ISubscriptionRule, public LibraryRule {
  public:
    /// \param operand \ownership takes
    explicit NotRule(ISubscriptionRule* operand);
    ~NotRule() override;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;
    bool IsPure() const override;
    std::optional<std::shared_ptr<RLExpr>> GetExpression() const override;

  protected:
    NotRule(const NotRule&) = default;
    NotRule& operator=(const NotRule&) = default;

  private:
    ISubscriptionRule* operand;
};

/// Applies to changes of one type.
/// \threadsafety immutable
class TESSARYN_API StreamChangeTypeRule : public ISubscriptionRule, public LibraryRule {
  public:
    explicit StreamChangeTypeRule(StreamChangeType changeType);
    ~StreamChangeTypeRule() override;
    StreamChangeTypeRule(const StreamChangeTypeRule&) = default;
    StreamChangeTypeRule& operator=(const StreamChangeTypeRule&) = default;
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;
    bool IsPure() const override;
    std::optional<std::shared_ptr<RLExpr>> GetExpression() const override;

  private:
    StreamChangeType changeType;
};

/// Applies if an expression of the rule language holds.
///
/// The text is parsed once; copies and clones share the parsed tree. Where the expression holds
/// only comparisons of elements, sizes and change types, `Applies` allocates nothing but for the
/// first sample of a stream type.
/// \threadsafety immutable
class TESSARYN_API ExpressionRule : public ISubscriptionRule, public LibraryRule {
  public:
    /// \param text an expression such as "x[1:2] == 5 && !y"
    /// \throws RuleSyntaxException when the text is malformed
    explicit ExpressionRule(const std::string& text);
    ~ExpressionRule() override;
    ExpressionRule(const ExpressionRule&) = default;
    ExpressionRule& operator=(const ExpressionRule&) = default;
    /// Whether the expression's value converts to true.
    /// \throws Poco::InvalidAccessException "Can not convert empty value." when the expression has
    /// no value, such as an entry that the sample does not have, read outside a comparison
    /// \throws Poco::BadCastException when the value does not convert to bool, such as several
    /// elements
    /// \throws std::out_of_range when an entry without elements is asked for its first or last one
    bool Applies(SubscriptionArgs& args) const override;
    ISubscriptionRule* Clone() const override;
    bool IsPure() const override;
    std::optional<std::shared_ptr<RLExpr>> GetExpression() const override;
    std::shared_ptr<const RuleProgram> GetProgram() const override;

  protected:
    /// \param expression a parsed expression, shared; null for a blank one
    explicit ExpressionRule(std::shared_ptr<RLExpr> expression);

  private:
    std::shared_ptr<RLExpr> expression;
    /// The compiled expression; shared by copies and clones.
    std::shared_ptr<const RuleProgram> program;
};

/// \name Making rules Rules nest: `And(HasStreamChangeType(pushed), Expression("x > 2"))`. Each
/// function takes the rules passed to it and gives the new one to the caller, who normally passes
/// it to a `StreamSubscription`.
/// \throws std::bad_alloc: the rules given are then deleted
///@{

/// \return \ownership gives: a rule that applies to every change
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Always();
/// \param a \ownership takes: asked first
/// \param b \ownership takes
/// \return \ownership gives: a rule that applies if both do
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* And(ISubscriptionRule* a, ISubscriptionRule* b);
/// \param a \ownership takes: asked first
/// \param b \ownership takes
/// \return \ownership gives: a rule that applies if at least one does
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Or(ISubscriptionRule* a, ISubscriptionRule* b);
/// \param a \ownership takes: asked first
/// \param b \ownership takes
/// \return \ownership gives: a rule that applies if exactly one does
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Xor(ISubscriptionRule* a, ISubscriptionRule* b);
/// \param a \ownership takes
/// \return \ownership gives: a rule that applies if `a` does not
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Not(ISubscriptionRule* a);
/// \return \ownership gives: a rule that applies to changes of this type
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* HasStreamChangeType(StreamChangeType type);
/// \param text an expression of the rule language
/// \return \ownership gives: a rule that applies if the expression holds
/// \throws RuleSyntaxException when the text is malformed
/// \threadsafety immutable
TESSARYN_API ISubscriptionRule* Expression(const std::string& text);
///@}

}  // namespace velmora::core::tessaryn
