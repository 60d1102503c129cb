// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Dynamic::Var;
using test::OutcomeOf;
using test::Parse;
using namespace std::string_literals;

const std::string noValue = "Invalid access: Can not convert empty value.";
const std::string noTruth = "Bad cast exception: Can not convert to bool";
const std::string outOfRange = "std: Index out of range.";

/// One sample with an entry for every case below.
class RuleEvaluation : public testing::Test {
  protected:
    RuleEvaluation()
        : type({{"x", Int8, 1},      {"neg", Int8, 1},
                {"low", Int8, 1},    {"i16", Int16, 1},
                {"i32", Int32, 1},   {"i64", Int64, 1},
                {"u8", UInt8, 1},    {"u16", UInt16, 1},
                {"u32", UInt32, 1},  {"u64", UInt64, 1},
                {"f", Float, 1},     {"d", Double, 1},
                {"b", Bool, 1},      {"s", String, 0},
                {"arr", Int32, 3},   {"zero", Double, 1},
                {"flags", Bool, 2},  {"empty", String, 0},
                {"none", Int32, 0},  {"nul", String, 0},
                {"high", String, 0}, {"odd", static_cast<BaseType>(13), 2}}),
          sample(&type.type, Poco::Timestamp()) {
        Set("x", char{7});
        Set("neg", char{-5});
        Set("low", char{-128});
        Set("i16", short{-300});
        Set("i32", -70000);
        Set("i64", 5000000000LL);
        Set("u8", static_cast<unsigned char>(200));
        Set("u16", static_cast<unsigned short>(60000));
        Set("u32", 4000000000U);
        Set("u64", std::numeric_limits<unsigned long long>::max());
        Set("f", 0.1F);
        Set("d", 0.5);
        Set("b", true);
        Set("flags", true);
        for (unsigned i = 0; i < 3; ++i)
            sample.Set(sample.EntryId("arr"), i, static_cast<int>(i + 1));
        sample.Set(sample.EntryId("s"), "abc"s);
        sample.Set(sample.EntryId("nul"), "a\0b"s);
        sample.Set(sample.EntryId("high"), "\xff"s);
    }

    template <class T>
    void Set(const std::string& entry, T value) {
        sample.Set(sample.EntryId(entry), 0, value);
    }

    /// What the rule answers, and the tree itself in case it answers something else.
    std::string OutcomeOfRule(const std::string& text) {
        const std::unique_ptr<ISubscriptionRule> rule(Expression(text));
        const std::string outcome = OutcomeOf([&] { return rule->Applies(args); });
        const std::shared_ptr<RLExpr> tree = Parse(text);
        const std::string ofTree =
            OutcomeOf([&] { return valueOf(tree.get(), args).convert<bool>(); });
        return outcome == ofTree ? outcome : outcome + ", but the tree: " + ofTree;
    }

    test::TestType type;
    Sample sample;
    SubscriptionArgs args{changed, &sample, nullptr};
};

TEST_F(RuleEvaluation, AnswersEachRule) {
    const struct {
        std::string rule;
        std::string outcome;
    } cases[] = {
        // The literal is converted to the entry's type, and compared as that.
        {"x == 7", "true"},
        {"x == \"7\"", "true"},
        {"x == 7.5", "true"},
        {"x < 7.5", "false"},
        {"x != 7.5", "false"},
        {"x == 7.5 && x <= 7.5 && x >= 7.5", "true"},
        {"neg == -5", "true"},
        {"neg < 0 && neg > -6", "true"},
        {"neg == \"-5\"", "true"},
        {"neg == -5.9", "true"},
        {"b == 1 && b == 2 && b == \"yes\" && b != 0 && b == 0.5", "true"},
        {"b == \"false\"", "false"},
        {"b > false", "true"},
        {"i16 == -300 && i16 < \"-299\"", "true"},
        {"i32 == -70000 && i32 == \"-70000\"", "true"},
        {"i64 == 5000000000 && i64 == 5e9 && i64 == \"5000000000\"", "true"},
        {"i64 > 4999999999 && i64 != 705032704", "true"},
        {"u8 == 200 && u8 > true && u8 >= 200.5", "true"},
        {"u16 == 60000 && u16 > -0", "true"},
        {"u32 == 4000000000 && u32 > 2147483648", "true"},
        {"u64 == \"18446744073709551615\" && u64 > 9223372036854775807", "true"},
        {"f == 0.1 && f == \"0.1\"", "true"},
        {"f < 0.1 || f > 0.1", "false"},
        {"d == 0.5 && d < 1 && d >= 0.5 && d == \"0.5\"", "true"},
        {"zero == 0 && zero == false && zero == -0.0", "true"},
        {"s == \"abc\" && s < \"abd\" && s > \"ab\" && s <= \"abc\" && s != \"ABC\"", "true"},
        {"nul == \"a\0b\""s, "true"},
        {"nul == \"a\"", "false"},
        {"high > \"z\"", "true"},
        {"s == 5 || s == 1.5 || s == true", "false"},
        {"s < 5", "false"},
        // A literal that doesn't fit the entry's type makes every operator false.
        {"x == 300 || x != 300 || x < 300 || x <= 300 || x > 300 || x >= 300", "false"},
        {"x != -129 || x > -129 || x != \"300\" || x < 1e30", "false"},
        {"low == -128.0 || low != -128.0 || low >= -128.0", "false"},
        {"low == -128 && low <= -127.0", "true"},
        {"u8 != -1 || u8 > -1 || u8 != 256 || u8 != -0.5", "false"},
        {"u64 != -1 || u64 > -1", "false"},
        {"i32 != 2147483648 || i32 < 2147483648", "false"},
        {"x != \"abc\" || x == \"abc\" || x != \"\"", "false"},
        {"d != \"abc\" || d == \"\"", "false"},
        // All elements must pass, whatever the operator.
        {"arr > 0", "true"},
        {"arr > 1", "false"},
        {"arr != 2", "false"},
        {"arr != 4", "true"},
        {"arr == 1", "false"},
        {"arr[0:1] < 3", "true"},
        {"arr[0:2] < 3", "false"},
        {"arr[1:99] > 1 && arr[1:] > 1 && arr[:1] < 3 && arr[:] >= 1", "true"},
        {"arr[-1] == 1 || arr[-1] == 3", "false"},
        {"arr[-1] >= 1 && arr[-7:-7] <= 3", "true"},
        {"arr[-1:0] == 1", "true"},
        {"arr[2:-1] == 3 && arr[2:2147483647] == 3", "true"},
        {"arr[5] == 1 || arr[5] != 1 || arr[2:1] != 9 || arr[3:] != 9", "false"},
        {"flags == true || flags == false || flags != true", "false"},
        {"arr > \"0\" && arr < 3.9", "false"},
        {"arr > \"0\" && arr <= 3.9", "true"},
        // Every element of a text is the whole text.
        {"s[0] == \"abc\" && s[2] == \"abc\" && s[1:] == \"abc\"", "true"},
        {"s[3] == \"abc\" || s[3] != \"abc\"", "false"},
        {"empty == \"\" || empty != \"\" || empty < \"a\" || empty[0] == \"\"", "false"},
        // Properties.
        {"x.type == \"Int8\" && s.type == \"String\" && u64.type == \"UInt64\"", "true"},
        {"odd.type == \"Unknown\"", "true"},
        {"odd.type == \"UnknownType\"", "false"},
        {"arr.size == 3 && s.size == 3 && none.size == 0 && empty.size < 1", "true"},
        {"arr.size > -1 || arr.size != -1", "false"},
        {"x.exists && nosuch.exists == false && x.exists == true", "true"},
        {"nosuch.exists", "false"},
        {"arr.front == 1 && arr.back == 3 && x.front == 7 && x.back == 7", "true"},
        {"s.front == \"abc\" && s.back == \"abc\"", "true"},
        {"empty.front == \"\" && empty.back == \"\"", "true"},
        {"nosuch.size == 0 || nosuch.size != 0 || nosuch.type == \"Unknown\"", "false"},
        {"nosuch.front == 1 || nosuch.back != 1", "false"},
        {"x.Size == 1 || x.length != 0", "false"},
        {"odd.front == 0 || odd == 0 || odd != 0 || odd[0] != 0", "false"},
        // Entries and functions.
        {"x", "true"},
        {"nosuch", "false"},
        {"X", "false"},
        {"changed()", "true"},
        {"pushed() || popped() || Changed() || false() || anything() || True()", "false"},
        {"true()", "true"},
        {"changed() == 1 && pushed() != true", "true"},
        {"nosuch == 1 || nosuch != 1 || none == 1 || none != 1", "false"},
        // A value used as a truth, without a comparison.
        {"x[0] && arr.size && s[0] && d[0] && u64[0] && i64[0] && b[0]", "true"},
        {"zero[0]", "false"},
        {"flags[1]", "false"},
        {"x.type", "true"},
        {"empty.front", "false"},
        {"arr[0:1]", noTruth},
        {"!arr[:]", noTruth},
        {"nosuch[0]", noValue},
        {"arr[5]", noValue},
        {"none[:]", noValue},
        {"nosuch.size", noValue},
        {"x.nosuch", noValue},
        {"!nosuch.front", noValue},
        // Short circuits leave the right side alone; "^^" asks both.
        {"pushed() && nosuch[0]", "false"},
        {"changed() || nosuch[0]", "true"},
        {"changed() && nosuch[0]", noValue},
        {"pushed() || nosuch[0]", noValue},
        {"nosuch[0] && pushed()", noValue},
        {"pushed() ^^ nosuch[0]", noValue},
        {"changed() ^^ pushed()", "true"},
        {"changed() ^^ x == 7 ^^ b == 1", "true"},
        // The first and last of an entry without elements: an error that comparisons let through.
        {"none.front", outOfRange},
        {"none.back == 1", outOfRange},
        {"!(none.front != 1)", outOfRange},
        {"pushed() && none.back == 1", "false"},
        {"arr[0:1] ^^ none.back", outOfRange},
        {"none.back ^^ nosuch[0]", outOfRange},
        // Missing operands have no value.
        {"", noValue},
        {"()", noValue},
        {"!", noValue},
        {"&& x", noValue},
        {"x == 7 &&", noValue},
        {"x == 8 &&", "false"},
        {"x == 7 ||", "true"},
        {"x == 7 ^^", noValue},
        {"|| x == 7", noValue},
    };
    for (const auto& [rule, outcome] : cases)
        EXPECT_EQ(OutcomeOfRule(rule), outcome) << "of: " << rule;
}

TEST_F(RuleEvaluation, ValuesHaveExactlyTheGettersTypes) {
    const struct {
        std::string expression;
        BaseType type;
        const std::type_info& held;
    } cases[] = {
        {"x[0]", Int8, typeid(char)},
        {"i16[0]", Int16, typeid(short)},
        {"i32.front", Int32, typeid(int)},
        {"i64.back", Int64, typeid(long long)},
        {"u8[:]", UInt8, typeid(unsigned char)},
        {"u16[0]", UInt16, typeid(unsigned short)},
        {"u32[0]", UInt32, typeid(unsigned int)},
        {"u64[0]", UInt64, typeid(unsigned long long)},
        {"f[0]", Float, typeid(float)},
        {"d[0]", Double, typeid(double)},
        {"b[0]", Bool, typeid(bool)},
        {"s.front", String, typeid(std::string)},
        {"arr[:]", Int32, typeid(std::vector<Var>)},
        {"s[:]", String, typeid(std::vector<Var>)},
        {"x.type", String, typeid(std::string)},
        {"x.size", UInt32, typeid(unsigned int)},
        {"x.exists", Bool, typeid(bool)},
        {"nosuch.exists", Bool, typeid(bool)},
        {"nosuch.size", UnknownType, typeid(void)},
        {"x.nosuch", UnknownType, typeid(void)},
        {"nosuch[0]", UnknownType, typeid(void)},
        {"arr[9]", UnknownType, typeid(void)},
        {"none[:]", UnknownType, typeid(void)},
        {"x", Bool, typeid(bool)},
        {"pushed()", Bool, typeid(bool)},
        {"x == 7", Bool, typeid(bool)},
        {"x[0] == 7 && arr[:] > 0", Bool, typeid(bool)},
        {"!x[0]", Bool, typeid(bool)},
    };
    for (const auto& c : cases) {
        const TypedValue value = Parse(c.expression)->evaluate(args);
        EXPECT_EQ(value.type, c.type) << c.expression;
        EXPECT_EQ(value.value.type(), c.held) << c.expression;
    }
    const TypedValue elements = Parse("arr[1:]")->evaluate(args);
    ASSERT_EQ(elements.value.extract<std::vector<Var>>().size(), 2U);
    EXPECT_EQ(elements.value.extract<std::vector<Var>>()[1].extract<int>(), 3);
}

/// An operand that reports when it is evaluated, and answers or throws what it was given.
class Operand : public RLExpr {
  public:
    Operand(char operandName, TypedValue operandValue, std::string* journal)
        : name(operandName), value(std::move(operandValue)), log(journal) {}
    ~Operand() override = default;

    TypedValue evaluate(const SubscriptionArgs& /*args*/) const override {
        *log += name;
        if (value.type == Bool && value.value.isString())
            throw std::runtime_error(value.value.extract<std::string>());
        return value;
    }
    void dump(std::ostream& /*out*/, int /*indent*/) const override {}

  private:
    char name;
    TypedValue value;
    std::string* log;
};

TEST(RuleExpressions, OperandsAreEvaluatedAndConvertedInOrder) {
    std::string log;
    SubscriptionArgs args{pushed, nullptr, nullptr};
    const auto make = [&](char name, TypedValue value) {
        return std::make_shared<Operand>(name, std::move(value), &log);
    };
    const TypedValue yes(true);
    const TypedValue no(false);
    const TypedValue empty;
    const TypedValue array(Int32, std::vector<Var>());
    const TypedValue error(Bool, "broken"s);
    const struct {
        std::string operators;  // the one between a and b, and between b and c
        TypedValue a, b, c;
        std::string outcome;
        std::string order;
    } cases[] = {
        {"^^", yes, no, yes, "false", "cba"},
        {"^^", yes, yes, yes, "true", "cba"},
        {"^^", empty, array, yes, noValue, "cba"},
        {"^^", array, empty, yes, noTruth, "cba"},
        {"^^", yes, array, empty, noTruth, "cba"},
        {"^^", yes, no, empty, noValue, "cba"},
        {"^^", array, error, empty, "std: broken", "cb"},
        {"&&", yes, no, error, "false", "ab"},
        {"&&", yes, yes, yes, "true", "abc"},
        {"&&", empty, error, error, noValue, "a"},
        {"&&", yes, yes, array, noTruth, "abc"},
        {"||", no, yes, error, "true", "ab"},
        {"||", no, no, no, "false", "abc"},
        {"||", no, array, error, noTruth, "ab"},
        {"^&", yes, yes, yes, "false", "ba"},
        {"^&", yes, no, yes, "true", "bac"},
        {"|&", no, yes, no, "false", "abc"},
        {"|&", yes, error, no, "false", "ac"},
        {"&|", no, error, yes, "true", "ac"},
        {"&|", yes, no, error, "std: broken", "abc"},
        {"&^", no, error, yes, "true", "ca"},
    };
    for (const auto& c : cases) {
        std::shared_ptr<RLExpr> tree = make('a', c.a);
        for (std::size_t i = 0; i < 2; ++i) {
            const auto right = i == 0 ? make('b', c.b) : make('c', c.c);
            if (c.operators[i] == '&')
                tree = std::make_shared<RLAndExpr>(tree, right);
            else if (c.operators[i] == '|')
                tree = std::make_shared<RLOrExpr>(tree, right);
            else
                tree = std::make_shared<RLXorExpr>(tree, right);
        }
        log.clear();
        const std::string outcome =
            OutcomeOf([&] { return tree->evaluate(args).value.convert<bool>(); });
        EXPECT_EQ(outcome, c.outcome) << c.operators << " " << c.order;
        EXPECT_EQ(log, c.order) << c.operators << " " << c.outcome;
    }
}

TEST(RuleExpressions, ComparisonsOfHandMadeValues) {
    std::string log;
    SubscriptionArgs args{pushed, nullptr, nullptr};
    using Elements = std::vector<Var>;
    const struct {
        std::string name;
        TypedValue left;
        Var literal;
        std::string equal;
        std::string unequal;
    } cases[] = {
        {"no elements", {Int32, Elements()}, 5, "true", "true"},
        {"no elements of no type", {UnknownType, Elements()}, 5, "true", "true"},
        {"elements of no type", {UnknownType, Elements{1, 1}}, 1, "false", "false"},
        {"no type", {UnknownType, 1}, 1, "false", "false"},
        {"a type above all", {static_cast<BaseType>(13), 1}, 1, "false", "false"},
        {"a value of another type", {Int32, short{1}}, 1, "false", "false"},
        {"an element of another type", {Int32, Elements{1, short{1}}}, 1, "false", "false"},
        {"a failing element before it", {Int32, Elements{2, short{1}}}, 1, "false", "false"},
        {"no value", {Int32, Var()}, 1, "false", "false"},
        {"an empty literal", {Int32, 1}, Var(), "false", "false"},
        {"a signed char for Int8", {Int8, static_cast<signed char>(1)}, 1, "false", "false"},
        {"a nested array", {Int32, Elements{Elements{1}}}, 1, "false", "false"},
        {"an error of another kind", {Bool, "broken"s}, 1, "std: broken", "std: broken"},
    };
    for (const auto& c : cases) {
        const auto operand = std::make_shared<Operand>('a', c.left, &log);
        const RLEqExpr equal(operand, c.literal);
        const RLNeExpr unequal(operand, c.literal);
        const auto outcome = [&](const RLRelExpr& comparison) {
            return OutcomeOf([&] { return comparison.evaluate(args).value.convert<bool>(); });
        };
        EXPECT_EQ(outcome(equal), c.equal) << c.name;
        EXPECT_EQ(outcome(unequal), c.unequal) << c.name;
    }
    EXPECT_FALSE(RLEqExpr(nullptr, 1).evaluate(args).value.convert<bool>());
    EXPECT_FALSE(RLNeExpr(nullptr, 1).evaluate(args).value.convert<bool>());
}

TEST(RuleOnChangingTypes, FollowsTheTypeOfEachSample) {
    const std::unique_ptr<ISubscriptionRule> rule(Expression("a == 1 && !b"));
    const auto outcome = [&](StreamType& type, Sample&& sample) {
        if (type.EntryExists("a"))
            sample.Set(type.EntryId("a"), 0, std::string("1"));
        SubscriptionArgs args{pushed, &sample, nullptr};
        return OutcomeOf([&] { return rule->Applies(args); });
    };
    test::TestType first({{"a", Int32, 1}});
    test::TestType second({{"b", Int32, 1}, {"a", Double, 1}});
    const auto ask = [&](test::TestType& type) {
        return outcome(type.type, Sample(&type.type, Poco::Timestamp()));
    };
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(ask(first), "true");
        EXPECT_EQ(ask(second), "false");
    }
    // The types change under the rule: entries come, go and move to other ids.
    first.type.Add("b", Bool, 1);
    EXPECT_EQ(ask(first), "false");
    second.type.Remove(0);
    EXPECT_EQ(ask(second), "true");
    second.type.Remove(0);
    EXPECT_EQ(ask(second), "false");
    second.type = first.type;
    EXPECT_EQ(ask(second), "false");
    first.type.Remove(1);
    EXPECT_EQ(ask(first), "true");
}

TEST_F(RuleEvaluation, ThreadsShareOneTree) {
    const std::unique_ptr<ISubscriptionRule> rule(Expression(
        "arr > 0 && s == \"abc\" && x.size == 1 ^^ (nosuch) || x[0:] == \"7\" && !none"));
    std::atomic<int> applied = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            Sample own(sample);
            SubscriptionArgs ownArgs{changed, &own, nullptr};
            for (int round = 0; round < 500; ++round) {
                // Clones come and go while others evaluate.
                const std::unique_ptr<ISubscriptionRule> clone(rule->Clone());
                applied += clone->Applies(ownArgs) && rule->Applies(ownArgs) ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(applied, 4 * 500);
}

}  // namespace
}  // namespace velmora::core::tessaryn
