// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/subscription_rule_parser.h"

#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Runnable.h>
#include <Poco/Thread.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

// The dump of a text's tree with "|" in place of line feeds, or the error.
std::string TreeOf(const std::string& text) {
    std::string tree;
    const std::string outcome = OutcomeOf([&] {
        tree = DumpOf(Parse(text).get());
        return true;
    });
    std::replace(tree.begin(), tree.end(), '\n', '|');
    return outcome == "true" ? tree : outcome;
}

TEST(RLParser, BuildsTree) {
    const std::pair<std::string, std::string> cases[] = {
        {" \t\n", ""},
        {"()", ""},
        {"((a))", "exists: a|"},
        {"a[1:]", "index: a[1:-1]|"},
        {"a[+2:0x1f]", "index: a[2:31]|"},
        {"a[0xFFFFFFFF]", "index: a[-1:-1]|"},
        {"x.size >= 0x10", ">=| prop: x.size| 16|"},
        {"x == \"a \\\"b\\\\n\\n\"", "==| index: x[0:-1]| a \"b\\nn|"},
        {"x == 0xffffffffffffffff", "==| index: x[0:-1]| -1|"},
        {"x == -9223372036854775808", "==| index: x[0:-1]| -9223372036854775808|"},
        {"(!(!a))", "!| !|  exists: a|"},
        {"!", "!|"},
        {"|| ||", "||| |||"},
        {R"((a) || b.c == 2 && d() ^^ !e[1:2] != "x")",
         "^^| |||  exists: a|  &&|   ==|    prop: b.c|    2|   func: d| !|  !=|   index: e[1:2]|   "
         "x|"},
    };
    for (const auto& [text, tree] : cases) {
        EXPECT_EQ(TreeOf(text), tree) << "of: " << text;
    }
}

TEST(RLParser, RefusesMalformedTextWithFixedMessage) {
    const struct {
        std::string message;
        std::vector<std::string> texts;
    } cases[] = {
        {"Extra tokens after expression: 5", {"5", "5 \""}},
        {"Extra tokens after expression: ==", {"a == 1 == 2", "(a) == 1"}},
        {"Extra tokens after expression: !", {"!!a", "x == 1 !"}},
        {"Extra tokens after expression: b", {"a b", "a[1] b", "a \"b\"", "a b &"}},
        {"Extra tokens after expression", {"a \"\""}},
        {"Extra tokens after expression: )", {"a)", ")"}},
        // A bare name directly before an operator, or before text that is not an operator.
        {"Expected: '(', '[' or '.'", {"a && b", "!a ^^ b()", "a:", "a!", "a = 1", "a && \"b"}},
        {"Expected: ')'", {"(a", "(a b)", "(5)", "(", "a(1)"}},
        {"Expected: identifier", {"a.", "a.1", "a.\"b\""}},
        {"Expected: integer or ':'", {"a[", "a[]", "a[1.5]", "a[b &"}},
        {"Expected: ']'", {"a[1", "a[1 2]", "a[1:2.5]", "a[1:2:3]", "a[::]"}},
        {"Misplaced identifier: y", {"x == y", "x == y \""}},
        {"Misplaced identifier: True", {"x == True"}},
        {"Misplaced token", {"x =="}},
        {"Misplaced token: @", {"x < @"}},
        // Errors of tokens and numbers pass through unchanged. An error of the parser in front of
        // them comes first, as above, because no token is read ahead of its use.
        {"expected: &, got:  ", {"x & y"}},
        {"Unterminated string literal", {"x == \"a"}},
        {"Not a valid integer: 5x1F", {"x == 5x1F", "x[5x1F]"}},
        {"Not a valid integer: -", {"x == -", "x[-]"}},
        {"Not a valid integer: 2147483648", {"x[2147483648]"}},
        {"Not a valid hexadecimal integer: 0x100000000", {"x[0:0x100000000]"}},
        {"Not a valid floating-point number: 1e400", {"x == 1e400"}},
    };
    for (const auto& [message, texts] : cases) {
        for (const std::string& text : texts) {
            EXPECT_EQ(TreeOf(text), "Syntax error: " + message) << "of: " << text;
        }
    }
}

// ---- Depth and length ----

std::string Repeat(const std::string& text, int count) {
    std::string repeated;
    for (int i = 0; i < count; ++i) {
        repeated += text;
    }
    return repeated;
}

// In place of Poco::Thread::startFunc, whose reference counting the thread sanitizer cannot follow.
struct Work : Poco::Runnable {
    explicit Work(std::function<void()> toDo) : work(std::move(toDo)) {}
    void run() override { work(); }
    std::function<void()> work;
};

TEST(RLParser, UsesBoundedStackForLongChainsAndDeepGroups) {
    TestType type({{"x", Int32, 1}});
    Sample sample(&type.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    const struct {
        std::string repeated, last, closing;
        int count;
        std::string expected;
    } cases[] = {
        // The last term decides: in a "^^" chain the others cancel out.
        {"x == 0 && ", "x == 0", "", 10000, "true"},
        {"x == 1 || ", "x == 1", "", 10000, "false"},
        {"x == 0 ^^ ", "x == 1", "", 10000, "false"},
        {"((x)) && ", "!x", "", 10000, "false"},
        {"(", "x", ")", 1000, "true"},
        // Nodes of all kinds on every level, the group on the right or on the left.
        {"x == 1 ^^ !(x == 0 && (", "x", "))", 500, "true"},
        {"(!(", "x", ") || x == 1) && x == 0", 500, "true"},
    };
    for (const auto& c : cases) {
        const std::string text = Repeat(c.repeated, c.count) + c.last + Repeat(c.closing, c.count);
        Poco::Thread thread;
        if (c.closing.empty()) {
            thread.setStackSize(256 * 1024);
        }
        Work work([&] {
            std::shared_ptr<RLExpr> tree = Parse(text);
            const auto ask = [&] { return tree->evaluate(args).value.convert<bool>(); };
            EXPECT_EQ(OutcomeOf(ask), c.expected) << c.repeated;
            const std::unique_ptr<ISubscriptionRule> rule(Expression(text));
            EXPECT_EQ(OutcomeOf([&] { return rule->Applies(args); }), c.expected) << c.repeated;
            EXPECT_NE(DumpOf(tree.get()).find("x"), std::string::npos);
        });
        thread.start(work);
        thread.join();
    }
    for (const std::string open : {"(", "!(", "a() && ("}) {
        EXPECT_THROW(Parse(Repeat(open, 1000000)), Poco::SyntaxException);
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
