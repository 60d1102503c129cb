// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "press_document.h"
#include "process.h"

#include <Poco/String.h>
#include <gtest/gtest.h>

#include <string>

namespace velmora::tool {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

const std::string first =
    "time,x,who,pair\n2020-01-01T00:00:00Z,1,ada,1;2\n1960-01-01T00:00:01.5Z,-5,\" b\n\",3;4\n";
const std::string second = "time,x,who,pair\n2021-01-01T00:00:00Z,7,,5;6\n";
const std::string watch = "watch - --quiet --type pair:Int16:2 --stream ";

std::string Show(const std::string& file, const std::string& path = "''") {
    return RunTool("show --output ndjson " + file + " " + path).out;
}

// All values of one entry in the order of a document, each with a comma after it.
std::string ValuesIn(const std::string& xml, const std::string& key) {
    const std::string before = "<Key>" + key + "</Key>\n";
    std::string values;
    for (std::size_t at = 0; (at = xml.find(before, at)) != std::string::npos; ++at) {
        const std::size_t begin = xml.find("<Value>", at) + 7;
        if (xml.find("</Entry>", at) > begin) {
            values += xml.substr(begin, xml.find('<', begin) - begin) + ",";
        }
    }
    return values;
}

TEST(Document, ContinuesOnlyStreamsWithTheSameEntries) {
    const Folder folder;
    const std::string file = folder.PathOf("m.xml");
    const std::string files = " --load " + file + " --save " + file;
    ASSERT_EQ(RunTool(watch + "plant/s --save " + file, first).status, 0);
    const std::string before = folder.Read("m.xml");
    const struct {
        std::string stream;
        std::string rows;
        std::string reason;
    } refused[] = {
        {"plant/s", Poco::replace(second, ",7,", ",7.5,"),
         "Stream 'plant/s' cannot continue: it has x:Int64 where the layout has x:Double."},
        {"plant/s", Poco::replace(second, "who", "whom"),
         "it has who:String where the layout has whom:String."},
        {"plant/s", "time,x,who,pair,y\n2021-01-01,1,,1;2,3\n",
         "it does not have y:Int64, which the layout has."},
        {"plant.s", second, "Two types would have the full name of that of stream 'plant/s'."},
        {"Any", second, "A stream cannot have the name 'Any', which is reserved for a type."},
    };
    for (const auto& each : refused) {
        ExpectFailure(watch + each.stream + files, each.reason + "\n", each.rows);
    }
    EXPECT_EQ(folder.Read("m.xml"), before);
    const Outcome run = RunTool(watch + "plant/s --rule pair[1]>0" + files, second);
    EXPECT_EQ(run.out, "2021-01-01T00:00:00Z plant/s [pair[1]>0] x=7 who=\"\" pair=[5;6]\n");
    EXPECT_THAT(Show(file), HasSubstr(R"("samples":3,"max_size":1000,"first":"1960-01-01T00:00:01.)"
                                      R"(500Z","last":"2021-01-01T00:00:00Z","entries":[{"name":)"
                                      R"("x","type":"Int64","elements":[{"min":-5,"max":7,)"));
    // Without the stream only its type is left, of which another version can be added.
    folder.Write("m.xml", before.substr(0, before.find("  <StreamRepository>")) + "</Tree>\n");
    ASSERT_EQ(RunTool("watch - --stream plant/s" + files, "time,x\n2020-01-01,0.5\n").status, 0);
    EXPECT_THAT(
        Show(file, "plant/s"),
        testing::AllOf(HasSubstr("\"path\":\"plant/s\",\"version\":\"1.0.0\""),
                       HasSubstr("\"type\":\"plant.s\",\"version\":\"2.0.0\",\"samples\":1,")));
}

TEST(Document, KeepsThePushOrderOfARingThatWrapped) {
    const Folder folder;
    const std::string file = folder.PathOf("ring.xml");
    const auto push = [&](int from, int to, const std::string& more) {
        std::string rows = "time,x\n";
        for (int x = from; x <= to; ++x) {
            rows += "2020-01-01T00:00:00Z," + std::to_string(x) + "\n";
        }
        const Outcome run = RunTool("watch - --rule x<0 --save " + file + more, rows);
        return run.err.substr(0, run.err.find('\n')) + " " + ValuesIn(folder.Read("ring.xml"), "x");
    };
    EXPECT_THAT(push(1, 8, " --max-size 5"), EndsWith("3 dropped from the ring 4,5,6,7,8,"));
    const std::string load = " --load " + file;
    EXPECT_THAT(push(9, 10, load), EndsWith("2 dropped from the ring 6,7,8,9,10,"));
    EXPECT_THAT(push(11, 11, load + " --max-size 3"), EndsWith(" 9,10,11,"));
    EXPECT_THAT(push(12, 13, load + " --max-size 4"), EndsWith(" 10,11,12,13,"));
}

TEST(Document, ErrorsNameTheNodeAndTheReason) {
    const Folder folder;
    const std::string value = "Value at position '";
    const std::string stream = "/StreamRepository/Group/Groups/Group/Streams/Stream";
    const std::string collection =
        "/StreamTypeRepository/Group/Groups/Group/TypeCollections/TypeCollection";
    const struct {
        std::string part;
        std::string by;
        std::string reason;
    } cases[] = {
        {"<Name>press</Name>", "", value + collection + "/Name' broke rule 'Is mandatory'."},
        {"Int8", "Int9",
         collection + ": Could not create entry with the given arguments: Key: 'wave', base type: "
                      "'UnknownType'"},
        {"<Type>line 1.press</Type>", "<Type>u.\x7F</Type>",
         stream + ": Item 'u.\\x7f' does not exist."},
        {"Repository>", "Depository>",
         "/: there is neither StreamTypeRepository nor StreamRepository"},
        {"</Tree>\n", "", "The XML document cannot be read at line 26, column 1"},
        {"<Tree>", "<!DOCTYPE Tree><Tree>", "The XML document cannot be read at line 1, column "},
    };
    for (const auto& each : cases) {
        const std::string file =
            folder.Write("m.xml", Poco::replace(pressDocument, each.part, each.by));
        ExpectFailure("show " + file, "tessaryn: " + file + ": " + each.reason);
    }
}

TEST(Document, LimitsTheMemoryOfSamples) {
    const Folder folder;
    const std::string file =
        folder.Write("m.xml", Poco::replace(pressDocument, "<Type>UInt64</Type>",
                                            "<Type>UInt64</Type><InitialSize>9000</InitialSize>"));
    const std::string limit = " --max-memory 100KiB";
    const std::string reason = " of the limit of 102400 are left.\n";
    const std::string lines[] = {"show " + file, "watch - --load " + file,
                                 "check x --type '" + file + ":line 1:press'"};
    for (const std::string& line : lines) {
        ExpectFailure(line + limit, reason, first);
    }
    EXPECT_EQ(RunTool("show " + file).status, 0);
    EXPECT_EQ(RunTool("show " + file + " --max-memory 1MiB").status, 0);
}

}  // namespace
}  // namespace velmora::tool
