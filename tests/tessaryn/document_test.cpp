// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/document.h"

#include "serializer/json_format.h"
#include "serializer/xml_format.h"
#include "support/node_builder.h"
#include "support/thrown.h"
#include "tessaryn/snapshot.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using Poco::Logger;

struct Form {
    const char* name;
    void (*write)(const StreamTypeRepository&, const StreamRepository&, std::ostream&);
    Document (*read)(std::istream&, const serialization::ReadLimits&, const DocumentLimits&);
};

const Form forms[] = {{"XML", WriteXmlDocument, ReadXmlDocument},
                      {"JSON", WriteJsonDocument, ReadJsonDocument}};

// Nested groups, two versions of a type, a ring that has wrapped and values that are easily lost.
Document MakePlant() {
    Document plant{std::make_unique<StreamTypeRepository>(Logger::root(), '/'),
                   std::make_unique<StreamRepository>(Logger::root(), '|')};
    StreamTypeCollection& tanks = *plant.types->Add("plant/Tank");
    tanks.PushNew({1, 0, 0}).Add("level", Double, 1).Add("label", String, 0).Add("list", Int32, 3);
    tanks.PushNew({0, 1, 0}).Add("level", Float, 2);
    for (const char* const path : {"one", "north|tank 1", "north|west|tank 2", "south|tank 3"}) {
        Stream& stream = *plant.streams->AddStream(path, &tanks.Get({1, 0, 0}), 3);
        for (int i = 0; i < 5; ++i) {
            Sample sample(stream.GetStreamType(), 0);
            sample.Set(0, 0, 0.1 * i);
            sample.Set(1, path + std::string(static_cast<std::size_t>(i), '\0') + "<&\"\\\n");
            sample.Resize(2, static_cast<unsigned int>(i % 3));
            stream.PushNew(new Sample(Restamped(sample, Poco::Timestamp(i - 3))));
        }
    }
    plant.streams->AddStream("empty|a\xff", &tanks.Get({1, 1, 0}), 1'000);
    plant.streams->AddGroup("empty|group");
    return plant;
}

std::string Describe(const Document& document) {
    const serialization::NodeTree tree;
    serialization::NodeRef types = tree.GetRoot().AddNode("Types", serialization::NodeElement);
    WriteStreamTypes(*document.types, types);
    serialization::NodeRef streams = tree.GetRoot().AddNode("Streams", serialization::NodeElement);
    WriteStreams(*document.streams, streams);
    return Sorted(tree.GetRoot());
}

TEST(Documents, ComeBackAsTheyWere) {
    const Document plant = MakePlant();
    for (const Form& form : {forms[0], forms[1], {"snapshot", WriteSnapshot, ReadSnapshot}}) {
        std::stringstream text;
        form.write(*plant.types, *plant.streams, text);
        const Document read = form.read(text, {}, {});
        EXPECT_EQ(Describe(read), Describe(plant)) << form.name;
    }
}

// A document of one stream with many samples.
Document MakeLongStream(int count) {
    Document document{std::make_unique<StreamTypeRepository>(Logger::root(), '/'),
                      std::make_unique<StreamRepository>(Logger::root(), '/')};
    StreamType& type = document.types->Add("T")->PushNew({1, 0, 0}).Add("x", Int32, 1);
    Stream& stream = *document.streams->AddStream("s", &type, 100);
    for (int i = 0; i < count; ++i) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, i); });
    }
    return document;
}

TEST(Documents, AreTheTreesThatTheObjectsWrite) {
    const Document plant = MakePlant();
    const serialization::NodeTree tree;
    serialization::NodeRef root = tree.GetRoot();
    serialization::NodeRef types = root.AddNode("StreamTypeRepository", serialization::NodeElement);
    WriteStreamTypes(*plant.types, types);
    serialization::NodeRef streams = root.AddNode("StreamRepository", serialization::NodeElement);
    WriteStreams(*plant.streams, streams);
    std::ostringstream xml;
    std::ostringstream json;
    WriteXml(tree, xml);
    WriteJson(tree, json);
    std::ostringstream written[2];
    for (std::size_t i = 0; i < std::size(forms); ++i) {
        forms[i].write(*plant.types, *plant.streams, written[i]);
    }
    EXPECT_EQ(written[0].str(), xml.str());
    EXPECT_EQ(written[1].str(), json.str());
}

TEST(Documents, AreReadWithMemoryForOneSamplesNodes) {
    const Document document = MakeLongStream(100);
    serialization::ReadLimits limits;
    limits.maxMemory = 4'000;
    for (const Form& form : forms) {
        std::stringstream text;
        form.write(*document.types, *document.streams, text);
        // A list of samples that is many times as long as the ring.
        std::string samples = text.str();
        const std::string sample = form.name == forms[0].name ? "<Sample>" : "{\"Sample\"";
        const std::size_t begin = samples.find(sample);
        const std::string block = samples.substr(begin, samples.find(sample, begin + 1) - begin);
        for (int i = 0; i < 1'000; ++i) {
            samples.insert(begin, block);
        }
        std::istringstream in(samples);
        EXPECT_EQ(form.read(in, limits, {}).streams->GetStream("s").GetNumSamples(), 100U)
            << form.name;
    }
}

// What the streams depend on may stand behind them.
TEST(Documents, AreReadInAnyOrder) {
    const std::string types =
        "<StreamTypeRepository><Group><TypeCollections><TypeCollection><Name>T</Name><Types><Type>"
        "<Version>1.0.0</Version><Entries><Entry><Key>x</Key><Type>Int32</Type></Entry></Entries>"
        "</Type></Types></TypeCollection></TypeCollections></Group></StreamTypeRepository>";
    const std::string head = "<Type>T</Type><TypeVersion>1.0.0</TypeVersion><MaxSize>2</MaxSize>";
    const std::string sample =
        "<Sample><Entries><Entry><Key>x</Key><Value>7</Value></Entry></Entries></Sample>";
    const std::string samples =
        "<Samples>" + sample + sample + "<Sample><Samples><a/></Samples></Sample></Samples>";
    // Of no stream: not looked at.
    const std::string other = "<Samples><Sample><Entries><Entry/></Entries></Sample></Samples>";
    const auto streams = [&](const std::string& stream) {
        return "<StreamRepository><Group>" + other + "<Groups><Group><Name>g</Name><Streams>" +
               "<Stream>" + stream + "</Stream><Stream>" + stream +
               "</Stream></Streams></Group></Groups></Group>" + other + "</StreamRepository>";
    };
    const std::string name = "<Name>s</Name>";
    for (const std::string& text :
         {types + streams(name + head + samples), streams(name + head + samples) + types,
          types + streams(samples + head + name), types + streams(head + samples + other + name)}) {
        std::istringstream in("<Tree>" + text + other + "</Tree>");
        const Document document = ReadXmlDocument(in);
        const Stream& stream = document.streams->GetStream("g.s");
        EXPECT_EQ(stream.GetNumSamples(), 2U) << text;
        stream.GetAllInPushOrder([&](const std::vector<Sample*>& all) {
            EXPECT_EQ(all.at(0)->GetInt32(0, 0), 7) << text;
            EXPECT_EQ(all.at(1)->GetInt32(0, 0), 0) << text;
        });
    }
}

TEST(Documents, NameTheSampleThatCannotBeRead) {
    const Document document = MakeLongStream(3);
    std::stringstream text;
    WriteXmlDocument(*document.types, *document.streams, text);
    std::string changed = text.str();
    changed.replace(changed.rfind("<Key>x"), 6, "<Key>y");
    std::istringstream in(changed);
    EXPECT_EQ(MessageOf<DocumentException>([&] { ReadXmlDocument(in); }),
              "/StreamRepository/Group/Streams/Stream/Samples/Sample[3]: Entry with name 'y' does "
              "not exist in stream type 'T' with version '1.0.0'.");
    std::istringstream neither("<Tree><a/></Tree>");
    EXPECT_EQ(MessageOf<DocumentException>([&] { ReadXmlDocument(neither); }),
              "/: there is neither StreamTypeRepository nor StreamRepository");
}

}  // namespace
}  // namespace velmora::core::tessaryn
