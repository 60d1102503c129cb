// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/live_count.h"
#include "support/random.h"
#include "support/rule_model.h"
#include "support/rules.h"
#include "tessaryn/private/subscription_rule_tokens.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Runnable.h>
#include <Poco/StreamTokenizer.h>
#include <Poco/Thread.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using namespace std::string_literals;
using Poco::Token;

// ---- Tokens ----

// One token as its class, with its code if it is an operator, and its text.
std::string Describe(const Token& token) {
    const std::map<Token::Class, std::string> classes = {
        {Token::OPERATOR_TOKEN, "op"},         {Token::IDENTIFIER_TOKEN, "id"},
        {Token::STRING_LITERAL_TOKEN, "str"},  {Token::INTEGER_LITERAL_TOKEN, "int"},
        {Token::FLOAT_LITERAL_TOKEN, "float"}, {Token::INVALID_TOKEN, "bad"}};
    const bool coded = token.is(Token::OPERATOR_TOKEN);
    return classes.at(token.tokenClass()) + (coded ? std::to_string(token.asInteger()) : "") + ":" +
           token.tokenString();
}

// All tokens of a text; an error ends them with its message in braces.
std::string TokensOf(const std::string& text) {
    std::istringstream in(text);
    Poco::StreamTokenizer tokenizer(in);
    tokenizer.addToken(new OperatorToken);
    tokenizer.addToken(new IdentifierToken);
    tokenizer.addToken(new StringLiteralToken);
    tokenizer.addToken(new NumberLiteralToken);
    tokenizer.addToken(new Poco::WhitespaceToken);
    std::string tokens;
    try {
        for (auto* token = tokenizer.next(); !token->is(Token::EOF_TOKEN);
             token = tokenizer.next()) {
            tokens += Describe(*token) + " ";
        }
    } catch (const Poco::SyntaxException& error) {
        tokens += "{" + error.message() + "} ";
    }
    return tokens;
}

TEST(RuleTokens, SplitAText) {
    const std::string unterminated = "{Unterminated string literal} ";
    const std::pair<std::string, std::string> cases[] = {
        {"()[]:.", "op1:( op2:) op3:[ op4:] op5:: op6:. "},
        {"< <= > >=", "op7:< op8:<= op9:> op10:>= "},
        {"== ! != && || ^^", "op11:== op12:! op13:!= op14:&& op15:|| op16:^^ "},
        {"===!!=&&&&", "op11:== op0:= op12:! op13:!= op14:&& op14:&& "},
        // A doubled operator that isn't doubled names the character that stands in its place.
        {"a & b", "id:a {expected: &, got:  } "},
        {"^", "{expected: ^, got: \xff} "},
        {"&\0"s, "{expected: &, got: \0} "s},
        {"_a9 Z\t\r\n\v\fb 9a", "id:_a9 id:Z id:b int:9 id:a "},
        {"a\xff\0a @ #"s, "id:a bad:\xff bad:\0 id:a bad:@ bad:# "s},
        {"1..2 1.5.2 .5", "int:1 op6:. op6:. int:2 float:1.5 op6:. int:2 op6:. int:5 "},
        {"1. 1.e5 1.5e+3 2E7 7", "float:1. float:1.e5 float:1.5e+3 float:2E7 int:7 "},
        {"1e", "{expected: digit, got: \xff} "},
        {"1.5e+x", "{expected: digit, got: x} "},
        {"0x1f 5x1F -x1 +x 0xfg", "int:0x1f int:5x1F int:-x1 int:+x int:0xf id:g "},
        {"0x1.5e2 15x1 0X1F", "int:0x1 op6:. float:5e2 int:15 id:x1 int:0 id:X1F "},
        {"1,5 -3+4 - 3", "int:1 bad:, int:5 int:-3 int:+4 int:- int:3 "},
        {R"("a\"b" "\\"a)", R"(str:"a\"b" str:"\\" id:a )"},
        {"\"\"\"a\xff\t\0b\""s, "str:\"\" str:\"a\xff\t\0b\" "s},
        {"\"a\nb\"", unterminated},
        {"x \"a\r\"", "id:x " + unterminated},
        {"\"a\\\"", unterminated},
    };
    for (const auto& [text, tokens] : cases) {
        EXPECT_EQ(TokensOf(text), tokens) << "of: " << text;
    }
}

TEST(RuleTokens, NumbersConvertToUnsignedIntegersToo) {
    const std::string no = "Not a valid unsigned integer: ";
    const std::vector<std::string> cases[] = {
        {"0xFFFFFFFF", "4294967295", "4294967295"},
        {"0xffffffffffffffff", "Not a valid hexadecimal integer: 0xffffffffffffffff",
         "18446744073709551615"},
        {"5x1F", no + "5x1F", no + "5x1F"},
        {"-3", no + "-3", no + "-3"},
        {"18446744073709551615", no + "18446744073709551615", "18446744073709551615"},
    };
    const auto outcomeOf = [](const auto& convert) {
        try {
            return std::to_string(convert());
        } catch (const Poco::SyntaxException& error) {
            return error.message();
        }
    };
    for (const auto& c : cases) {
        std::istringstream in(c[0]);
        NumberLiteralToken token;
        ASSERT_TRUE(token.start(static_cast<char>(in.get()), in));
        token.finish(in);
        EXPECT_EQ(outcomeOf([&] { return token.asUnsignedInteger(); }), c[1]);
        EXPECT_EQ(outcomeOf([&] { return token.asUnsignedInteger64(); }), c[2]);
    }
}

// ---- Trees and errors ----

// A text's tree, with "|" in place of line feeds, or its error.
std::string TreeOf(const std::string& text) {
    std::string tree;
    const std::string outcome = OutcomeOf([&] {
        tree = DumpOf(Parse(text).get());
        return true;
    });
    std::replace(tree.begin(), tree.end(), '\n', '|');
    return outcome == "true" ? tree : outcome;
}

TEST(RuleParser, BuildsTheTreeOfAText) {
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

TEST(RuleParser, RefusesATextInItsOwnWords) {
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
        // A bare name doesn't stand directly before an operator, nor before what isn't one.
        {"Expected: '(', '[' or '.'", {"a && b", "!a ^^ b()", "a:", "a!", "a = 1", "a && \"b"}},
        {"Expected: ')'", {"(a", "(a b)", "(5)", "(", "a(1)"}},
        {"Expected: identifier", {"a.", "a.1", "a.\"b\""}},
        {"Expected: integer or ':'", {"a[", "a[]", "a[1.5]", "a[b &"}},
        {"Expected: ']'", {"a[1", "a[1 2]", "a[1:2.5]", "a[1:2:3]", "a[::]"}},
        {"Misplaced identifier: y", {"x == y", "x == y \""}},
        {"Misplaced identifier: True", {"x == True"}},
        {"Misplaced token", {"x =="}},
        {"Misplaced token: @", {"x < @"}},
        // What the tokens and the numbers raise passes unchanged, but not before an error that the
        // parser finds in front of it, as above: tokens are read one ahead.
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

// Runs on a thread of POCO's without the shared ownership that its `startFunc` brings: the thread
// sanitizer can't see the library release it.
struct Work : Poco::Runnable {
    explicit Work(std::function<void()> toDo) : work(std::move(toDo)) {}
    void run() override { work(); }
    std::function<void()> work;
};

TEST(RuleParser, LongChainsAndDeepGroupsUseNoMoreOfTheStack) {
    TestType type({{"x", Int32, 1}});
    Sample sample(&type.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    const struct {
        std::string repeated, last, closing;
        int count;
        std::string truth;
    } cases[] = {
        // The other terms leave it to the last one: in a "^^" chain they cancel out.
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
            EXPECT_EQ(OutcomeOf(ask), c.truth) << c.repeated;
            const std::unique_ptr<ISubscriptionRule> rule(Expression(text));
            EXPECT_EQ(OutcomeOf([&] { return rule->Applies(args); }), c.truth) << c.repeated;
            EXPECT_NE(DumpOf(tree.get()).find("x"), std::string::npos);
        });
        thread.start(work);
        thread.join();
    }
    for (const std::string open : {"(", "!(", "a() && ("}) {
        EXPECT_THROW(Parse(Repeat(open, 1000000)), Poco::SyntaxException);
    }
}

// ---- Evaluation ----

TEST(RuleEvaluation, OfRandomRulesIsThatOfASecondEvaluator) {
    Random random;
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 6000; ++round) {
        const rules::Rule rule = rules::RuleMaker(random).Expression(0, true);
        rules::ModelledSample modelled(random);
        SubscriptionArgs args = modelled.Args();
        const std::string where = rule.text + "\n" + BinaryOf(modelled.sample);
        const std::shared_ptr<RLExpr> tree = Parse(rule.text);
        ASSERT_EQ(DumpOf(tree.get()), DumpOf(Parse(rule.full).get())) << where;
        const std::string expected =
            OutcomeOf([&] { return rules::ValueOf(tree.get(), modelled.world).convert<bool>(); });
        const ExpressionRule planned(rule.text);
        ASSERT_EQ(OutcomeOf([&] { return planned.Applies(args); }), expected) << where;
        const auto ofTree = [&] { return valueOf(tree.get(), args).convert<bool>(); };
        ASSERT_EQ(OutcomeOf(ofTree), expected) << where;
        ++outcomes[expected];
    }
    // Rules that all fail, or all hold, would show nothing.
    EXPECT_TRUE(outcomes["true"] > 500 && outcomes["false"] > 500 && outcomes.size() == 5U);
}

TEST(RuleEvaluation, TakesRareTypesAndLiteralsToo) {
    TestType type({{"u64", UInt64, 1}, {"f", Float, 1}, {"s", String, 0}, {"arr", Int32, 3}});
    type.type.Add("odd", static_cast<BaseType>(13), 2).Add("odder", static_cast<BaseType>(32), 2);
    Sample sample(&type.type, Poco::Timestamp());
    sample.Set(0, 0, ~0ULL);
    sample.Set(1, 0, 0.1F);
    sample.Set(2, "a\0b"s);
    SubscriptionArgs args{changed, &sample, nullptr};
    for (const std::string& text :
         {"u64 == \"18446744073709551615\" && u64 > 9223372036854775807 && !(u64 != -1)"s,
          "f == 0.1 && arr[2:2147483647] == 0 && arr[:1] < 3"s,
          "s == \"a\0b\" && s[2] == \"a\0b\" && odd.type == \"Unknown\""s,
          "!(odd == 0 || odd != 0 || odd.front == 0)"s,
          "odder.size == 0 && odd.size < 1 && odder"s}) {
        EXPECT_TRUE(ExpressionRule(text).Applies(args)) << text;
        EXPECT_TRUE(valueOf(Parse(text).get(), args).convert<bool>()) << text;
    }
}

// What is remembered of an entry that isn't there must not be taken for a place in the sample.
TEST(RuleEvaluation, RemembersThatAnEntryIsMissing) {
    TestType layout({{"x", Double, 1}});
    Sample sample(&layout.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    const ExpressionRule rule("x == 0 && missing == 0");
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(rule.Applies(args));
    }
}

TEST(RuleEvaluation, FollowsTheTypeOfEachSampleOnManyThreads) {
    const std::unique_ptr<ISubscriptionRule> rule(Expression("a == 1 && !b"));
    const auto ask = [&](TestType& type) {
        Sample sample(&type.type, Poco::Timestamp());
        if (type.type.EntryExists("a")) {
            sample.Set(sample.EntryId("a"), 0, "1");
        }
        SubscriptionArgs args{pushed, &sample, nullptr};
        // Clones come and go while others evaluate.
        const std::unique_ptr<ISubscriptionRule> clone(rule->Clone());
        return rule->Applies(args) && clone->Applies(args);
    };
    TestType first({{"a", Int32, 1}});
    TestType second({{"b", Int32, 1}, {"a", Double, 1}});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round) {
                EXPECT_TRUE(ask(first) && !ask(second));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    // The types change under the rule: entries come, go and move to other ids.
    first.type.Add("b", Bool, 1);
    EXPECT_FALSE(ask(first));
    second.type.Remove(0);
    EXPECT_TRUE(ask(second));
    second.type.Remove(0);
    EXPECT_FALSE(ask(second));
    first.type.Remove(1);
    EXPECT_TRUE(ask(first));
}

// ---- Combinators ----

// A rule that is counted, reports each call in a log, and answers as its name says: "T" and "F"
// apply or don't, "!" throws instead; "c" throws when it is cloned.
struct NamedRule : ISubscriptionRule, LiveCount<NamedRule> {
    NamedRule(char ruleName, std::string& journal) : name(ruleName), log(journal) {}
    ~NamedRule() override = default;
    bool Applies(SubscriptionArgs& /*args*/) const override {
        log += name;
        return name == '!' ? throw std::runtime_error("asked") : name == 'T';
    }
    ISubscriptionRule* Clone() const override {
        log += name;
        return name == 'c' ? throw std::runtime_error("not cloned") : new NamedRule(name, log);
    }

    char name;
    std::string& log;
};

TEST(RuleCombinators, AskInOrderAndNoMoreThanNeededAndCloneRightBeforeLeft) {
    using Rule = std::unique_ptr<ISubscriptionRule>;
    std::string log;
    SubscriptionArgs args{changed, nullptr, nullptr};
    const std::pair<char, ISubscriptionRule* (*)(ISubscriptionRule*, ISubscriptionRule*)>
        combinators[] = {{'&', And}, {'|', Or}, {'^', Xor}};
    for (const auto& [kind, combine] : combinators) {
        for (const std::string operands : {"TT", "TF", "T!", "FT", "FF", "F!", "!T", "Tc", "cT"}) {
            const char a = operands[0];
            const char b = operands[1];
            Rule rule(Not(combine(new NamedRule(a, log), new NamedRule(b, log))));
            Rule clone;
            log.clear();
            const auto makeClone = [&] {
                clone.reset(rule->Clone());
                return true;
            };
            const bool cloned = OutcomeOf(makeClone) == "true";
            EXPECT_EQ(cloned, operands.find('c') == std::string::npos);
            EXPECT_EQ(log, b == 'c' ? "c" : std::string(1, b) + a);
            EXPECT_EQ(NamedRule::live, cloned ? 4 : 2) << operands;
            if (!cloned) {
                continue;
            }
            rule.reset();
            const bool ends = a == '!' || (kind == '&' && a == 'F') || (kind == '|' && a == 'T');
            const std::string asked = ends ? operands.substr(0, 1) : operands;
            const bool holds = kind == '^' ? a != b : asked.back() == 'T';
            log.clear();
            EXPECT_EQ(OutcomeOf([&] { return clone->Applies(args); }), asked.back() == '!'
                                                                           ? "std: asked"
                                                                       : holds ? "false"
                                                                               : "true");
            EXPECT_EQ(log, asked) << kind;
        }
        EXPECT_EQ(NamedRule::live, 0);
    }
}

TEST(RuleCheck, FindsWhatCanNeverMatch) {
    StreamType type;
    type.Add("x", Int8, 1).Add("v", UInt16, 3).Add("s", String, 0).Add("b", Bool, 1);
    std::string chain = "X == 1";
    for (int i = 0; i < 20'000; ++i) {
        chain += " && X == 1";
    }
    const auto never = [](const std::string& literal, const std::string& as,
                          const std::string& term) {
        return "The literal '" + literal + "' does not convert to " + as + ": the comparison '" +
               term + "' never holds";
    };
    const std::string noX = "The stream type has no entry 'X'";
    const std::string noY = "The stream type has no entry 'y'";
    const struct {
        std::string text;
        std::vector<std::string> messages;
    } cases[] = {
        {"", {}},
        {"x == 127 && x != -128 && x < 1.5 && v[2:7] >= 65535 && s == \"\" && b != false", {}},
        {"s == 5 && s.size > 2 && s.type == \"String\" && x == \"7\" && x.exists == false", {}},
        {"pushed() && popped() != true && !changed() || true() ^^ false()", {}},
        {"(x) || y", {noY}},
        {"x != 128", {never("128", "Int8", "!= 128")}},
        {"x.front == -128.0", {never("-128", "Int8", "== -128")}},
        {"v[9] < -1", {never("-1", "UInt16", "< -1")}},
        {"s.size >= \"many\"", {never("many", "UInt32", ">= many")}},
        {"!(y.exists == true) ^^ X == 1 || y[2] < 300", {noY, noX}},
        {"y.front > 1 && (x == 300)", {noY, never("300", "Int8", "== 300")}},
        {"x.length == 1", {"There is no property 'length': 'x.length' has no value"}},
        {"Pushed()", {"There is no function 'Pushed': 'Pushed()' is always false"}},
        {chain + " && y == 1", {noX, noY}},
    };
    for (const auto& each : cases) {
        std::vector<std::string> messages;
        for (const RuleFinding& finding : CheckRule(each.text, type)) {
            messages.push_back(finding.message);
        }
        EXPECT_EQ(messages, each.messages) << each.text.substr(0, 100);
    }
    EXPECT_THROW(CheckRule("x ==", type), Poco::SyntaxException);
}

}  // namespace
}  // namespace velmora::core::tessaryn
