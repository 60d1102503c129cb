// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/read_limits.h"

#include "serializer/serialization_exception.h"
#include "support/documents.h"
#include "support/thrown.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace velmora::core::serialization {
namespace {

using namespace test;

NodeTree ReadWithin(const ReadLimits& limits, const TextForm& form, const std::string& document) {
    std::istringstream in(document);
    return form.name == xml.name ? ReadXml(in, limits) : ReadJson(in, limits);
}

std::string GetMessage(const ReadLimits& limits, const TextForm& form,
                       const std::string& document) {
    return MessageOf<SerializationException>([&] { ReadWithin(limits, form, document); });
}

// Four nodes, two levels below the root.
const std::string smallXml = "<Tree>\n<a>1</a>\n<b><c/></b></Tree>";
const std::string smallJson = "{\"Tree\": [\n{\"a\": \"1\"},\n{\"b\": [{\"c\": []}]}]}";

TEST(ReadLimits, AcceptADocumentThatReachesThem) {
    ReadLimits limits;
    limits.maxNodes = 4;
    limits.maxDepth = 2;
    limits.maxMemory = 1'000;
    limits.maxBytes = smallXml.size();
    EXPECT_EQ(GetMessage(limits, xml, smallXml), "nothing was thrown");
    limits.maxBytes = smallJson.size();
    EXPECT_EQ(GetMessage(limits, json, smallJson), "nothing was thrown");
}

TEST(ReadLimits, AreNamedWithThePositionOfWhatExceedsThem) {
    ReadLimits nodes;
    nodes.maxNodes = 3;
    ReadLimits depth;
    depth.maxDepth = 1;
    ReadLimits bytes;
    bytes.maxBytes = 30;
    ReadLimits memory;
    memory.maxMemory = 4'096;
    ReadLimits beyond;
    beyond.maxDepth = 1'000'000;
    std::string deep = "<Tree>";
    for (int level = 0; level <= 1'000; ++level) {
        deep += "<n>";
    }
    const struct {
        ReadLimits limits;
        TextForm form;
        std::string document;
        std::string message;
    } cases[] = {
        {nodes, xml, smallXml, "line 3, column 4: Node 'c' exceeds the limit of 3 nodes."},
        {nodes, json, smallJson, "line 3, column 11: Node 'c' exceeds the limit of 3 nodes."},
        {depth, xml, smallXml, "line 3, column 4: Node 'c' exceeds the limit of 1 levels."},
        {depth, json, smallJson, "line 3, column 11: Node 'c' exceeds the limit of 1 levels."},
        {bytes, xml, smallXml, "line 1, column 1: The document exceeds the limit of 30 bytes."},
        {bytes, json, smallJson, "line 1, column 1: The document exceeds the limit of 30 bytes."},
        {beyond, xml, deep, "line 1, column 3007: Node 'n' exceeds the limit of 1000 levels."},
        {memory, json, "{\"Tree\": [{\"a\": \"" + std::string(5'000, 'x') + "\"}]}",
         "line 1, column 5018: Node 'a' needs "},
    };
    for (const auto& test : cases) {
        EXPECT_THAT(GetMessage(test.limits, test.form, test.document),
                    testing::StartsWith("The " + test.form.name + " document cannot be read at " +
                                        test.message));
    }
}

TEST(ReadLimits, OfMemoryCountNodesTextsAndWhatTheParserHolds) {
    const std::string text(1'000'000, 'x');
    std::string manyNodesXml = "<Tree>";
    std::string manyNodesJson = "{\"Tree\": [";
    for (int i = 0; i < 20'000; ++i) {
        manyNodesXml += "<n/>";
        manyNodesJson += "{\"n\": []},";
    }
    manyNodesXml += "</Tree>";
    manyNodesJson.back() = ']';
    manyNodesJson += "}";
    const std::string parser = "A tag, text or comment needs ";
    const struct {
        std::string name;
        TextForm form;
        std::string document;
        std::string owner;
    } cases[] = {
        {"nodes", xml, manyNodesXml, "Node 'n' needs "},
        {"nodes", json, manyNodesJson, "Node 'n' needs "},
        {"value", xml, "<Tree>" + text + "</Tree>", parser},
        {"value", json, "{\"Tree\": \"" + text + "\"}", parser},
        {"open value", xml, "<Tree>" + text, parser},
        {"open value", json, "{\"Tree\": \"" + text, parser},
        {"name", xml, "<Tree><" + text + "/></Tree>", parser},
        {"escaped name", xml, "<Tree><_node name=\"" + text + "\"/></Tree>", parser},
        {"name", json, "{\"Tree\": [{\"" + text + "\": []}]}", parser},
        {"comment", xml, "<Tree><!--" + text + "--></Tree>", parser},
    };
    for (const auto& test : cases) {
        ReadLimits limits;
        limits.maxMemory = 512'000;
        const std::string message = GetMessage(limits, test.form, test.document);
        EXPECT_THAT(message, testing::HasSubstr(test.owner)) << test.form.name << ": " << test.name;
        EXPECT_THAT(message, testing::EndsWith(" of the tree: the limit is 512000 bytes."));
    }
    for (const auto& test : cases) {
        ReadLimits limits;
        limits.maxMemory = 10'000'000;
        EXPECT_THAT(GetMessage(limits, test.form, test.document),
                    testing::Not(testing::HasSubstr("limit")))
            << test.form.name << ": " << test.name;
    }
}

}  // namespace
}  // namespace velmora::core::serialization
