// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/subscription_rule_expressions.h"

#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>
#include <string>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

using Expr = std::shared_ptr<RLExpr>;

// The protected constructor takes the trees of hosts.
struct TreeRule : ExpressionRule {
    explicit TreeRule(const Expr& tree) : ExpressionRule(tree) {}
};

Expr Function(const std::string& name) {
    return std::make_shared<RLFuncExpr>(name);
}

// An operator of a host that negates the one of the library.
template <class Base>
struct Negated : Base {
    using Base::Base;
    TypedValue evaluate(const SubscriptionArgs& args) const override {
        return TypedValue(!Base::evaluate(args).value.template convert<bool>());
    }
};

template <class Base>
std::string OutcomeOfNested(const Expr& a, const Expr& b, const Expr& c) {
    const SubscriptionArgs args{pushed, nullptr, nullptr};
    const Expr tree = std::make_shared<Negated<Base>>(std::make_shared<Negated<Base>>(a, b), c);
    const std::string ofTree =
        OutcomeOf([&] { return tree->evaluate(args).value.convert<bool>(); });
    SubscriptionArgs rule{args};
    return ofTree + " " + OutcomeOf([&] { return TreeRule(tree).Applies(rule); });
}

TEST(RLBinaryExpr, EvaluatesEachNodeOfAHostsClass) {
    const Expr yes = Function("true");
    const Expr no = Function("false");
    EXPECT_EQ(OutcomeOfNested<RLAndExpr>(yes, no, yes), "false false") << "nand(nand(1, 0), 1)";
    EXPECT_EQ(OutcomeOfNested<RLAndExpr>(yes, yes, yes), "true true") << "nand(nand(1, 1), 1)";
    EXPECT_EQ(OutcomeOfNested<RLOrExpr>(no, no, no), "false false") << "nor(nor(0, 0), 0)";
    EXPECT_EQ(OutcomeOfNested<RLOrExpr>(yes, no, no), "true true") << "nor(nor(1, 0), 0)";
    EXPECT_EQ(OutcomeOfNested<RLXorExpr>(yes, no, no), "true true") << "nxor(nxor(1, 0), 0)";
    EXPECT_EQ(OutcomeOfNested<RLXorExpr>(no, no, no), "false false") << "nxor(nxor(0, 0), 0)";
}

// A comparison of a host, which implements what is pure in the base.
struct Near : RLRelExpr {
    using RLRelExpr::RLRelExpr;
    void dump(std::ostream& out, int /*indent*/) const override { out << "near"; }

  protected:
    bool evaluateImpl(const SubscriptionArgs& args) const override {
        return std::abs(valueOf(leftOperand(), args).convert<double>() -
                        literal().convert<double>()) < 1;
    }
};

TEST(RLRelExpr, IsABaseOfComparisonsOfAHost) {
    TestType type({{"x", Double, 1}});
    Sample sample(&type.type, Poco::Timestamp());
    sample.Set(0, 0, 7.5);
    SubscriptionArgs args{pushed, &sample, nullptr};
    const auto near = [&](const std::string& entry, double value) {
        return std::make_shared<Near>(std::make_shared<RLIndexExpr>(entry, 0, -1), value);
    };
    EXPECT_TRUE(TreeRule(near("x", 8)).Applies(args));
    EXPECT_FALSE(TreeRule(near("x", 9)).Applies(args));
    EXPECT_FALSE(TreeRule(near("missing", 0)).Applies(args));
    EXPECT_EQ(std::string(near("x", 8)->symbol()), "");
    EXPECT_EQ(DumpOf(near("x", 8).get()), "near");
}

}  // namespace
}  // namespace velmora::core::tessaryn
