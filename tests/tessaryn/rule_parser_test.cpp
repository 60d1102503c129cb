// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/private/subscription_rule_parser.h"
#include "tessaryn/private/subscription_rule_tokens.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <ostream>
#include <pthread.h>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace std::string_literals;
using test::DumpOf;
using test::Parse;

TEST(RuleParser, BuildsTheTreeOfAText) {
    const struct {
        std::string text;
        std::string tree;
    } cases[] = {
        {"", ""},
        {" \t\n", ""},
        {"()", ""},
        {"a", "exists: a|"},
        {"((a))", "exists: a|"},
        {"true", "exists: true|"},
        {"f()", "func: f|"},
        {"a.b", "prop: a.b|"},
        // The five forms of an index.
        {"a[2]", "index: a[2:2]|"},
        {"a[1:3]", "index: a[1:3]|"},
        {"a[1:]", "index: a[1:-1]|"},
        {"a[:3]", "index: a[0:3]|"},
        {"a[:]", "index: a[0:-1]|"},
        {"a[-1]", "index: a[-1:-1]|"},
        {"a[+2:0x1f]", "index: a[2:31]|"},
        {"a[0xFFFFFFFF]", "index: a[-1:-1]|"},
        {"a[3:1]", "index: a[3:1]|"},
        // Comparisons of every left side, with every kind of literal.
        {"x < 5", "<| index: x[0:-1]| 5|"},
        {"x<=-5", "<=| index: x[0:-1]| -5|"},
        {"x[2] > 1.5", ">| index: x[2:2]| 1.5|"},
        {"x.size >= 0x10", ">=| prop: x.size| 16|"},
        {"f() == true", "==| func: f| true|"},
        {"x != false", "!=| index: x[0:-1]| false|"},
        {"x == \"a \\\"b\\\\\"", "==| index: x[0:-1]| a \"b\\|"},
        {"x == \"\xff\"", "==| index: x[0:-1]| \xff|"},
        {"x == 0xffffffffffffffff", "==| index: x[0:-1]| -1|"},
        {"x == -9223372036854775808", "==| index: x[0:-1]| -9223372036854775808|"},
        {"(a == 1)", "==| index: a[0:-1]| 1|"},
        // One negation, of a relation only.
        {"!a", "!| exists: a|"},
        {"!a == 1", "!| ==|  index: a[0:-1]|  1|"},
        {"!(a.b || c)", "!| |||  prop: a.b|  exists: c|"},
        {"(!(!a))", "!| !|  exists: a|"},
        // Operands may be missing.
        {"!", "!|"},
        {"&& a", "&&| exists: a|"},
        {"a.b == 1 &&", "&&| ==|  prop: a.b|  1|"},
        {"|| ||", "||| |||"},
        {"() ^^ !", "^^| !|"},
        // Strength of binding, and grouping from the left.
        {"(a) && b() && c.d", "&&| &&|  exists: a|  func: b| prop: c.d|"},
        {"a() && (b() && c())", "&&| func: a| &&|  func: b|  func: c|"},
        {"a() || b() && c()", "||| func: a| &&|  func: b|  func: c|"},
        {"a() && b() || c()", "||| &&|  func: a|  func: b| func: c|"},
        {"a() ^^ b() || c() ^^ d()", "^^| ^^|  func: a|  |||   func: b|   func: c| func: d|"},
        {"x[1:2] == 5 && !y", "&&| ==|  index: x[1:2]|  5| !|  exists: y|"},
        {R"((a) || b.c == 2 && d() ^^ e[1:2] != "x")",
         "^^| |||  exists: a|  &&|   ==|    prop: b.c|    2|   func: d| !=|  index: e[1:2]|  x|"},
    };
    for (const auto& [text, tree] : cases)
        EXPECT_EQ(DumpOf(Parse(text).get()), tree) << "of: " << text;
}

std::string ErrorOf(const std::string& text) {
    try {
        Parse(text);
    } catch (const Poco::SyntaxException& error) {
        EXPECT_EQ(error.displayText(), "Syntax error: " + error.message());
        return error.message();
    }
    return "nothing was thrown";
}

TEST(RuleParser, RefusesATextInItsOwnWords) {
    const struct {
        std::string message;
        std::vector<std::string> texts;
    } cases[] = {
        {"Extra tokens after expression: 5", {"5", "5 \""}},
        {"Extra tokens after expression: ==", {"a == 1 == 2", "(a) == 1"}},
        {"Extra tokens after expression: !", {"!!a", "x == 1 !"}},
        {"Extra tokens after expression: b", {"a b", "a[1] b", "a \"b\"", "a b &"}},
        {"Extra tokens after expression: b\"c", {"a \"b\\\"c\""}},
        {"Extra tokens after expression", {"a \"\""}},
        {"Extra tokens after expression: @", {"a @"}},
        {"Extra tokens after expression: )", {"a)", ")"}},
        {"Extra tokens after expression: .", {"f().g"}},
        // A bare name doesn't stand directly before an operator, nor before what isn't one.
        {"Expected: '(', '[' or '.'",
         {"a && b", "a || b", "a ^^ b", "!a && b()", "a || b.c == 2", "a:", "a]", "a!", "a = 1",
          "a && \"b"}},
        {"Expected: ')'", {"(a", "(a b)", "(5)", "(", "a(1)", "a("}},
        {"Expected: identifier", {"a.", "a.1", "a.\"b\""}},
        {"Expected: integer or ':'", {"a[", "a[]", "a[1.5]", "a[b]", "a[b &"}},
        {"Expected: ']'", {"a[1", "a[1 2]", "a[1:2.5]", "a[1:2:3]", "a[::]"}},
        {"Misplaced identifier: y", {"x == y", "x == y \""}},
        {"Misplaced identifier: True", {"x == True"}},
        {"Misplaced token", {"x =="}},
        {"Misplaced token: (", {"x == ("}},
        {"Misplaced token: @", {"x < @"}},
        {"Misplaced token: =", {"x == ="}},
        // What the tokens and the numbers raise passes unchanged, but not before an error that the
        // parser finds in front of it, as above: tokens are read one ahead.
        {"expected: &, got:  ", {"x & y"}},
        {"expected: |, got: \xff", {"x == 1 |"}},
        {"Unterminated string literal", {"x == \"a"}},
        {"Not a valid integer: -", {"x == -"}},
        {"Not a valid integer: 5x1F", {"x == 5x1F", "x[5x1F]"}},
        {"Not a valid integer: 2147483648", {"x[2147483648]"}},
        {"Not a valid hexadecimal integer: 0x100000000", {"x[0:0x100000000]"}},
        {"Not a valid integer: 9223372036854775808", {"x == 9223372036854775808"}},
        {"Not a valid floating-point number: 1e400", {"x == 1e400"}},
    };
    for (const auto& [message, texts] : cases) {
        for (const std::string& text : texts)
            EXPECT_EQ(ErrorOf(text), message) << "of: " << text;
    }
}

/// The steps of the parser, open to be called on tokens of the caller's.
struct OpenParser : RLParser {
    using RLParser::parseFunc;
    using RLParser::parseIndex;
    using RLParser::parseProp;
    using RLParser::RLParser;
};

TEST(RuleParser, StepsCheckTheTokenTheyBeginWith) {
    OperatorToken wrong;
    std::istringstream none;
    wrong.start(')', none);
    using Step = const Poco::Token* (RLParser::*)(const Poco::Token*, std::shared_ptr<RLExpr>&,
                                                  const std::string&);
    const struct {
        Step step;
        std::string code;
        std::string line;
    } cases[] = {
        {&OpenParser::parseIndex, "OP_OPENBRACKET", "191"},
        {&OpenParser::parseProp, "OP_PERIOD", "228"},
        {&OpenParser::parseFunc, "OP_OPENPARENT", "241"},
    };
    for (const auto& [step, code, line] : cases) {
        OpenParser parser("a");
        std::shared_ptr<RLExpr> result;
        try {
            (parser.*step)(&wrong, result, "x");
            ADD_FAILURE() << "nothing was thrown; expected " << code;
        } catch (const Poco::AssertionViolationException& error) {
            EXPECT_EQ(error.message(),
                      "next->is(Token::OPERATOR_TOKEN) && next->asInteger() == OperatorToken::" +
                          code + " in file \"src/libs/tessaryn/private/subscription_rule_parser\"" +
                          ", line " + line);
        }
    }
}

// ---- Depth and length ----

/// Counts what is written, and keeps nothing of it.
struct CountingBuffer : std::streambuf {
    int_type overflow(int_type c) override {
        ++count;
        return c == traits_type::eof() ? 0 : c;
    }
    std::streamsize xsputn(const char* /*text*/, std::streamsize size) override {
        count += size;
        return size;
    }

    std::streamsize count = 0;
};

/// Runs work on a thread whose stack is too small for a call a term.
void OnSmallStack(std::function<void()> work) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

std::string Repeat(const std::string& text, int count) {
    std::string repeated;
    for (int i = 0; i < count; ++i)
        repeated += text;
    return repeated;
}

TEST(RuleParser, LongChainsUseNoMoreOfTheStack) {
    test::TestType type({{"x", Int32, 1}});
    Sample sample(&type.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    constexpr int terms = 10000;
    const struct {
        std::string term;
        std::string last;
        bool truth;
    } cases[] = {
        {"x == 0 && ", "x == 0", true}, {"x == 0 && ", "x == 1", false},
        {"x == 1 || ", "x == 0", true}, {"x == 1 || ", "x == 1", false},
        {"x == 0 ^^ ", "x == 0", true}, {"x == 0 ^^ ", "x == 1", false},
        {"(x) && ", "!x", false},
    };
    for (const auto& c : cases) {
        // The other terms leave it to the last one: in a "^^" chain they cancel out.
        const std::string text = Repeat(c.term, terms) + c.last;
        OnSmallStack([&] {
            std::shared_ptr<RLExpr> tree = Parse(text);
            const bool truth = tree->evaluate(args).value.convert<bool>();
            EXPECT_EQ(truth, c.truth) << c.term << c.last;
            const std::unique_ptr<ISubscriptionRule> rule(Expression(text));
            EXPECT_EQ(rule->Applies(args), c.truth) << c.term << c.last;
            CountingBuffer buffer;
            std::ostream out(&buffer);
            tree->dump(out, 0);
            // Each operator but the first stands one blank further in than the one above it.
            EXPECT_GT(buffer.count, std::streamsize{terms} * (terms - 1) / 2);
            // A part that somebody else holds outlives the chain.
            std::shared_ptr<RLExpr> shared = tree;
            tree.reset();
            EXPECT_EQ(shared->evaluate(args).value.convert<bool>(), c.truth);
        });
    }
}

TEST(RuleParser, BoundsTheNestingOfGroups) {
    const auto nested = [](int depth) { return Repeat("(", depth) + "a" + Repeat(")", depth); };
    EXPECT_EQ(DumpOf(Parse(nested(1000)).get()), "exists: a|");
    EXPECT_THROW(Parse(nested(100000)), Poco::SyntaxException);
    EXPECT_THROW(Parse(Repeat("!(", 100000)), Poco::SyntaxException);
    EXPECT_THROW(Parse(Repeat("a() && (", 1000000)), Poco::SyntaxException);
    // Groups beside each other are not nested.
    EXPECT_NE(Parse(Repeat("((a)) && ", 5000)), nullptr);
}

TEST(RuleParser, EvaluatesAndDumpsTheDeepestNesting) {
    test::TestType type({{"x", Int32, 1}});
    Sample sample(&type.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    // Nodes of all kinds on every level, the group on the right or on the left.
    for (const std::string& text :
         {Repeat("x == 1 ^^ !(x == 0 && (", 500) + "x" + Repeat("))", 500),
          Repeat("(!(", 500) + "x" + Repeat(") || x == 1) && x == 0", 500)}) {
        const std::shared_ptr<RLExpr> tree = Parse(text);
        EXPECT_TRUE(tree->evaluate(args).value.convert<bool>());
        EXPECT_NE(DumpOf(tree.get()).find(" exists: x|"), std::string::npos);
        const std::unique_ptr<ISubscriptionRule> rule(Expression(text));
        EXPECT_TRUE(rule->Applies(args));
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
