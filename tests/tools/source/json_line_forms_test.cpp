// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/json_line_forms.h"

#include "support/random.h"

#include <gtest/gtest.h>
#include <rapidjson/reader.h>

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {
namespace {

// Writes the names and values of a document in their order, as the parser reads them.
struct Writer : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Writer> {
    bool Default() { return true; }
    bool Null() { return Write("v"); }
    bool Bool(bool value) { return Write(value ? "vtrue" : "vfalse"); }
    bool RawNumber(const char* value, rapidjson::SizeType length, bool /*copy*/) {
        return Write("v" + std::string(value, length));
    }
    bool String(const char* value, rapidjson::SizeType length, bool /*copy*/) {
        return Write("v" + std::string(value, length));
    }
    bool Key(const char* value, rapidjson::SizeType length, bool /*copy*/) {
        return Write("k" + std::string(value, length));
    }
    bool StartObject() { return Write("{"); }
    bool EndObject(rapidjson::SizeType /*members*/) { return Write("}"); }
    bool Write(const std::string& word) {
        words.push_back(word);
        return true;
    }
    std::vector<std::string> words;
};

// No words for a text that is not JSON.
std::vector<std::string> Parse(const std::string& line) {
    constexpr unsigned int flags =
        rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag;
    Writer writer;
    rapidjson::Reader parser;
    rapidjson::StringStream stream(line.c_str());
    const bool isParsed = !parser.Parse<flags>(stream, writer).IsError();
    return isParsed ? writer.words : std::vector<std::string>();
}

// The columns of the values are numbered from 10.
void Learn(JsonLineForms& forms, const std::string& line) {
    std::vector<std::size_t> columns;
    for (const std::string& word : Parse(line)) {
        if (word.starts_with('v')) {
            columns.push_back(10 + columns.size());
        }
    }
    forms.Learn(line, columns);
}

const std::string learned =
    R"({"time":"2020-01-01","entries":{ "a":-1.25,"b:\"":"x y" ,"c":null,"d\\":true},"e":0}  )";

TEST(JsonLineForms, ReadsLinesThatDifferInTheirValues) {
    JsonLineForms forms;
    EXPECT_EQ(forms.Read(learned), nullptr);
    Learn(forms, learned);
    const std::string line =
        R"({"time":null,"entries":{ "a":"","b:\"":false ,"c":"0123456789abcdef:,{[]}","d\\":0.50},)"
        R"("e":-12}  )";
    const std::vector<JsonLineForms::Cell>* const cells = forms.Read(line);
    ASSERT_NE(cells, nullptr);
    const std::string_view texts[] = {"", "", "false", "0123456789abcdef:,{[]}", "0.50", "-12"};
    ASSERT_EQ(cells->size(), std::size(texts));
    for (std::size_t i = 0; i < cells->size(); ++i) {
        EXPECT_EQ((*cells)[i].text, texts[i]);
        EXPECT_EQ((*cells)[i].column, 10 + i);
    }
}

TEST(JsonLineForms, LeavesOtherValuesToTheParser) {
    const std::string before = R"({"x":1,"a":)";
    JsonLineForms forms;
    Learn(forms, before + "5}");
    for (const char* value : {"0", "-0", "10.0", "\"\x7f\"", "\"a long text of plain bytes\""}) {
        EXPECT_NE(forms.Read(before + value + "}"), nullptr) << value;
    }
    for (const char* value : {"",
                              "-",
                              "01",
                              "-01",
                              "1.",
                              ".5",
                              "1e5",
                              "1.5E1",
                              "+1",
                              "1 ",
                              "nul",
                              "nulll",
                              "True",
                              "NaN",
                              "[1]",
                              "{}",
                              "5}",
                              "\"",
                              "\"a",
                              "\"a\"\"",
                              "\"a\\n\"",
                              "\"a\tb\"",
                              "\"\xc3\xa9\"",
                              "\"a long text, then \xff\"",
                              "\"a long text, then \x01\"",
                              "\"a long text, then \\u0020\"",
                              "12345678901234567890123456789012345678901"}) {
        EXPECT_EQ(forms.Read(before + value + "}"), nullptr) << value;
    }
    for (const char* line : {"", "{", R"({"x":1,"b":5})", R"({"x":1, "a":5})", R"({"x":1,"a":5)",
                             R"({"x":1,"a":5} )", R"({"a":5})"}) {
        EXPECT_EQ(forms.Read(line), nullptr) << line;
    }
    // Arrays have any number of values.
    forms.Learn(R"({"x":[1,2]})", {0});
    EXPECT_EQ(forms.Read(R"({"x":[1,2]})"), nullptr);
}

TEST(JsonLineForms, ReadsWhatTheParserReads) {
    test::Random random;
    JsonLineForms forms;
    Learn(forms, learned);
    int read = 0;
    for (int i = 0; i < 50'000; ++i) {
        std::string line = learned;
        for (unsigned int changes = 1 + random.Below(2); changes > 0; --changes) {
            const std::size_t at = random.Below(static_cast<unsigned int>(line.size()));
            const char byte = "0123456789.-eE\"\\:,{}[] \t\x01\xc3\xa9xtn"[random.Below(30)];
            const unsigned int kind = random.Below(3);
            line.replace(at, kind == 0 ? 0 : 1, kind == 2 ? 0 : 1, byte);
        }
        const std::vector<JsonLineForms::Cell>* const cells = forms.Read(line);
        if (cells == nullptr) {
            continue;
        }
        ++read;
        std::vector<std::string> words = Parse(learned);
        std::size_t next = 0;
        for (std::string& word : words) {
            if (word.starts_with('v')) {
                word = "v" + std::string((*cells)[next++].text);
            }
        }
        ASSERT_EQ(words, Parse(line)) << line;
    }
    EXPECT_GT(read, 1000);
}

TEST(JsonLineForms, KeepsTheLatestOnes) {
    JsonLineForms forms;
    const auto getLine = [](int name) { return "{\"" + std::to_string(name) + "\":1}"; };
    for (int name = 0; name < 5; ++name) {
        Learn(forms, getLine(name));
    }
    // One with arrays takes no place for long.
    forms.Learn("[]", {});
    Learn(forms, getLine(5));
    for (int name = 5; name > 1; --name) {
        EXPECT_NE(forms.Read(getLine(name)), nullptr) << name;
        EXPECT_NE(forms.Read(getLine(5)), nullptr) << name;
    }
    EXPECT_EQ(forms.Read(getLine(1)), nullptr);
}

TEST(JsonLineForms, IsTriedSeldomWhereLinesHaveManyForms) {
    JsonLineForms forms;
    Learn(forms, R"({"a":1})");
    int tries = 0;
    for (int i = 0; i < 1000; ++i) {
        if (forms.IsPromising()) {
            ++tries;
            EXPECT_EQ(forms.Read(R"({"b":1})"), nullptr);
        }
    }
    EXPECT_LT(tries, 30);
    // One line that has the form is enough.
    EXPECT_NE(forms.Read(R"({"a":2})"), nullptr);
    EXPECT_TRUE(forms.IsPromising());
}

}  // namespace
}  // namespace velmora::tool
