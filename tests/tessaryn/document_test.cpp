// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/document.h"

#include "support/node_builder.h"
#include "support/thrown.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <limits>
#include <sstream>
#include <string>

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
    for (const Form& form : forms) {
        std::stringstream text;
        form.write(*plant.types, *plant.streams, text);
        const Document read = form.read(text, {}, {});
        EXPECT_EQ(Describe(read), Describe(plant)) << form.name;
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
