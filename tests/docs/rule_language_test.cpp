// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Executes docs/rule_language.md: makes the sample of its cookbook, evaluates each recipe for it,
// and parses each text of the table of errors.

#include "common/split.h"
#include "support/rules.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/String.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Row = std::vector<std::string>;

// The cells of a table row, trimmed. "\|" is a bar within a cell.
Row Cells(std::string line) {
    Poco::replaceInPlace(line, std::string("\\|"), std::string(1, '\1'));
    Row cells;
    for (const std::string& cell : utils::Split(line, '|')) {
        cells.push_back(Poco::trim(Poco::translate(cell, "\1", "|")));
    }
    cells.erase(cells.begin());
    return cells;
}

// The rows of the first table below a heading, without its header.
std::vector<Row> Table(const std::string& heading) {
    std::ifstream page(VELMORA_RULE_LANGUAGE_PAGE);
    std::string line;
    while (std::getline(page, line) && line != heading) {
    }
    std::vector<Row> rows;
    while (std::getline(page, line) && (rows.empty() || !line.empty())) {
        if (line.starts_with('|')) {
            rows.push_back(Cells(line));
        }
    }
    rows.erase(rows.begin(), rows.begin() + std::min<std::ptrdiff_t>(2, std::ssize(rows)));
    return rows;
}

std::string Code(const std::string& cell) {
    return cell.size() > 1 && cell.front() == '`' ? cell.substr(1, cell.size() - 2) : cell;
}

std::vector<std::string> CodesIn(const std::string& cell) {
    std::vector<std::string> parts = utils::Split(cell, '`');
    std::vector<std::string> codes;
    for (std::size_t i = 1; i < parts.size(); i += 2) {
        codes.push_back(parts[i]);
    }
    return codes;
}

// Twice: a rule binds the names of entries at its first evaluation, so the second may differ.
std::string Evaluate(const std::string& text, Sample& sample) {
    SubscriptionArgs args{pushed, &sample, nullptr};
    std::unique_ptr<ISubscriptionRule> rule;
    const auto evaluate = [&] {
        if (!rule) {
            rule.reset(Expression(text));
        }
        return rule->Applies(args);
    };
    const std::string first = test::OutcomeOf(evaluate);
    EXPECT_EQ(test::OutcomeOf(evaluate), first) << text;
    return first;
}

// The stream type of the cookbook, with the sizes of its sample.
StreamType CookbookType() {
    StreamType type;
    for (const Row& entry : Table("## Cookbook")) {
        const BaseType entryType = GetTypeFromString(Code(entry[1]));
        const std::size_t size = utils::Split(Code(entry[2]), ' ').size();
        const bool isEmpty = entryType == String || entry[2].empty();
        type.Add(Code(entry[0]), entryType, isEmpty ? 0 : static_cast<unsigned int>(size));
    }
    return type;
}

TEST(RuleLanguagePage, CookbookHasTheResultOfEachRecipe) {
    const std::vector<Row> entries = Table("## Cookbook");
    const std::vector<Row> recipes = Table("### Recipes");
    ASSERT_GE(entries.size(), 5U);
    ASSERT_GE(recipes.size(), 40U);
    StreamType type = CookbookType();
    Sample sample(&type, Poco::Timestamp());
    for (const Row& entry : entries) {
        const unsigned short id = type.EntryId(Code(entry[0]));
        if (type.GetType(id) == String) {
            sample.Set(id, Code(entry[2]));
            continue;
        }
        const std::vector<std::string> elements = utils::Split(Code(entry[2]), ' ');
        for (unsigned int i = 0; i < sample.GetSize(id); ++i) {
            sample.Set(id, i, elements[i]);
        }
    }
    for (const Row& recipe : recipes) {
        ASSERT_TRUE(recipe.size() == 3 && !recipe[2].empty()) << recipe[0];
        EXPECT_THAT(Evaluate(Code(recipe[1]), sample), testing::EndsWith(Code(recipe[2])))
            << recipe[1];
    }
}

TEST(RuleLanguagePage, RecipesHaveFindingsWhereTheyShowWhatFails) {
    const StreamType type = CookbookType();
    std::vector<std::string> withFindings;
    for (const Row& recipe : Table("### Recipes")) {
        const std::vector<RuleFinding> findings = CheckRule(Code(recipe[1]), type);
        const bool canThrow = std::any_of(findings.begin(), findings.end(),
                                          [](const RuleFinding& each) { return each.CanThrow(); });
        const std::string result = Code(recipe[2]);
        EXPECT_EQ(canThrow, result != "true" && result != "false") << recipe[1];
        if (!findings.empty()) {
            withFindings.push_back(Code(recipe[1]));
        }
    }
    EXPECT_THAT(withFindings,
                testing::ElementsAre(
                    "count > -1", "count <= -1", "small < 300", "small == -128.0", "note == \"\"",
                    "arr[3] != 9", "none.front == 9", "(x)", "!nosuch", "nosuch == 7",
                    "nosuch != 7", "nosuch.exists == false || nosuch < 5", "nosuch[0]", "arr[:]"));
}

TEST(RuleLanguagePage, FindingsHaveTheirKinds) {
    const std::vector<std::string> kinds = {
        "missingEntry",    "unknownProperty",  "unknownFunction", "literalNeverFits",
        "missingOperand",  "evaluationThrows", "uncomparedValue", "uncomparedEntry",
        "indexBeyondSize", "neverHolds"};
    const StreamType type = CookbookType();
    const std::vector<Row> rows = Table("## Checking a rule");
    EXPECT_EQ(rows.size(), kinds.size());
    for (const Row& row : rows) {
        for (const std::string& rule : CodesIn(row[1])) {
            std::vector<std::string> found;
            for (const RuleFinding& finding : CheckRule(rule, type)) {
                found.push_back(kinds.at(finding.kind));
            }
            EXPECT_THAT(found, testing::Contains(Code(row[0]))) << rule;
        }
    }
}

TEST(RuleLanguagePage, ErrorTableHasTheMessageOfEachText) {
    StreamType type;
    Sample sample(&type, Poco::Timestamp());
    const std::vector<Row> errors = Table("## Errors");
    ASSERT_GE(errors.size(), 10U);
    for (const Row& error : errors) {
        for (const std::string& rule : CodesIn(error[1])) {
            EXPECT_THAT(Evaluate(rule, sample),
                        testing::StartsWith("Syntax error: " + CodesIn(error[0])[0]))
                << rule;
        }
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
