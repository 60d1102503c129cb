// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// A plant's types and streams under paths, kept as an XML document and read back into repositories
// of another host, which writes one group of them as JSON.

#include "velmora/serializer/json_format.h"
#include "velmora/serializer/xml_format.h"
#include "velmora/tessaryn/stream_repository.h"
#include "velmora/tessaryn/stream_type_repository.h"

#include <Poco/DateTime.h>
#include <Poco/Logger.h>

#include <iostream>
#include <memory>
#include <sstream>

using namespace velmora::core::tessaryn;
namespace ser = velmora::core::serialization;

namespace {

const ser::Serializer<ser::NodeRef> serializer;

void Keep(const ser::ISerializable& object, const char* name, ser::NodeTree& tree) {
    ser::NodeRef node = tree.GetRoot().AddNode(name, ser::NodeElement);
    object.Serialize(serializer, node);
}

void FillPlant(StreamTypeRepository& types, StreamRepository& streams) {
    StreamType& tank = types.Add("plant/Tank")->Add({1, 0, 0});
    tank.Add("level", Double, 1).Add("valves", Bool, 2);
    Stream* const stream = streams.AddStream("plant/north/tank 1", &tank, 100);
    auto sample = std::make_unique<Sample>(&tank, Poco::DateTime(2026, 1, 1).timestamp());
    sample->Set(0, 0, "12.5");
    sample->Set(1, 1, "1");
    stream->PushNew(sample.release());
}

}  // namespace

int main() {
    Poco::Logger& logger = Poco::Logger::get("plant");
    std::stringstream document;
    {
        // The types are made first, as they have to outlive the streams made of them.
        StreamTypeRepository types(logger, '/');
        StreamRepository streams(logger, '/');
        FillPlant(types, streams);
        // Streams name their types, so the types come along.
        ser::NodeTree tree;
        Keep(types, "Types", tree);
        Keep(streams, "Streams", tree);
        ser::WriteXml(tree, document);
    }

    const ser::NodeTree tree = ser::ReadXml(document);
    const StreamTypeRepository types(logger, serializer, tree.GetRoot()["Types"]);
    const StreamRepository streams(logger, serializer, tree.GetRoot()["Streams"], types);
    streams["plant/north/tank 1"].GetLatest([](const Sample& sample) {
        std::cout << "level " << sample.GetDouble(0, 0) << ", " << sample.GetStreamType()->GetName()
                  << ' ' << sample.GetStreamType()->GetVersion().ToString() << '\n';
    });
    ser::NodeTree report;
    Keep(streams.GetGroup("plant/north"), "North", report);
    ser::WriteJson(report, std::cout);
}
