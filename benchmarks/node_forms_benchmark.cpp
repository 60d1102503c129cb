// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What writing and reading a whole stream repository costs: 1,000 streams of 100 samples of 4
// entries, as XML and as JSON. The floor is POCO's bare writer and parser on the same document:
// they keep no tree, so a factor of two leaves no room for a second copy of anything.

#include "serializer/json_format.h"
#include "serializer/xml_format.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/JSON/ParseHandler.h>
#include <Poco/JSON/Parser.h>
#include <Poco/JSON/PrintHandler.h>
#include <Poco/Logger.h>
#include <Poco/SAX/AttributesImpl.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/SAXParser.h>
#include <Poco/XML/XMLWriter.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeTree;

NodeTree MakeTree() {
    constexpr int streamCount = 1000;
    constexpr int sampleCount = 100;
    Poco::Logger& logger = Poco::Logger::root();
    StreamTypeRepository types(logger, '/');
    StreamType& type = types.Add("plant/Reading")->Add(utils::Version(1, 0, 0));
    type.Add("temperature", Double, 1).Add("pressure", Float, 4);
    type.Add("state", Int32, 1).Add("count", UInt64, 1);
    StreamRepository streams(logger, '/');
    for (int i = 0; i < streamCount; ++i) {
        Stream& stream = *streams.AddStream("plant/line" + std::to_string(i), &type, sampleCount);
        for (int k = 0; k < sampleCount; ++k) {
            stream.PushNew([&](Sample& sample) {
                sample.Set(0, 0, 20.0 + 0.37 * (i + k));
                sample.Set(1, 2, 0.5F * static_cast<float>(k));
                sample.Set(2, 0, k % 3);
                sample.Set(3, 0, static_cast<unsigned long long>(i) * 1000U);
            });
        }
    }
    NodeTree tree;
    const serialization::Serializer<NodeRef> serializer;
    NodeRef root = tree.GetRoot();
    NodeRef typesNode = root.AddNode("StreamTypeRepository", NodeFlags::NodeElement);
    types.Serialize(serializer, typesNode);
    NodeRef streamsNode = root.AddNode("StreamRepository", NodeFlags::NodeElement);
    streams.Serialize(serializer, streamsNode);
    return tree;
}

const NodeTree& Tree() {
    static const NodeTree tree = MakeTree();
    return tree;
}

const std::string& XmlText() {
    static const std::string text = [] {
        std::ostringstream out;
        WriteXml(Tree(), out);
        return out.str();
    }();
    return text;
}

const std::string& JsonText() {
    static const std::string text = [] {
        std::ostringstream out;
        WriteJson(Tree(), out);
        return out.str();
    }();
    return text;
}

// Takes the text and forgets it, so that no writer pays for the growth of a buffer.
class Sink : public std::streambuf {
  protected:
    std::streamsize xsputn(const char* /*text*/, std::streamsize count) override { return count; }
    int_type overflow(int_type c) override { return c; }
};

void SetBytes(benchmark::State& state, const std::string& text) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void WriteElement(Poco::XML::XMLWriter& writer, const NodeRef& node, const std::string& name) {
    writer.startElement("", "", name);
    if (node.HasValue()) {
        writer.characters(node.GetValue());
    }
    for (const NodeRef& child : node.GetNodes()) {
        WriteElement(writer, child, child.GetName());
    }
    writer.endElement("", "", name);
}

void WriteXmlBare(benchmark::State& state) {
    Tree();
    for (auto _ : state) {
        Sink sink;
        std::ostream out(&sink);
        Poco::XML::XMLWriter writer(
            out, Poco::XML::XMLWriter::WRITE_XML_DECLARATION | Poco::XML::XMLWriter::PRETTY_PRINT);
        writer.startDocument();
        WriteElement(writer, Tree().GetRoot(), "Tree");
        writer.endDocument();
    }
    SetBytes(state, XmlText());
}

void WriteXmlTree(benchmark::State& state) {
    Tree();
    for (auto _ : state) {
        Sink sink;
        std::ostream out(&sink);
        WriteXml(Tree(), out);
    }
    SetBytes(state, XmlText());
}

void ReadXmlBare(benchmark::State& state) {
    XmlText();
    for (auto _ : state) {
        std::istringstream in(XmlText());
        Poco::XML::DefaultHandler handler;
        Poco::XML::SAXParser parser;
        parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, false);
        parser.setContentHandler(&handler);
        Poco::XML::InputSource source(in);
        parser.parse(&source);
    }
    SetBytes(state, XmlText());
}

void ReadXmlTree(benchmark::State& state) {
    XmlText();
    for (auto _ : state) {
        std::istringstream in(XmlText());
        benchmark::DoNotOptimize(serialization::ReadXml(in));
    }
    SetBytes(state, XmlText());
}

void WriteJsonBare(benchmark::State& state) {
    JsonText();
    for (auto _ : state) {
        Sink sink;
        std::ostream out(&sink);
        Poco::JSON::Parser parser(new Poco::JSON::PrintHandler(out, 2));
        parser.parse(JsonText());
    }
    SetBytes(state, JsonText());
}

void WriteJsonTree(benchmark::State& state) {
    Tree();
    for (auto _ : state) {
        Sink sink;
        std::ostream out(&sink);
        WriteJson(Tree(), out);
    }
    SetBytes(state, JsonText());
}

// Hears every event and keeps nothing.
class Deaf : public Poco::JSON::Handler {
  public:
    void reset() override {}
    void startObject() override {}
    void endObject() override {}
    void startArray() override {}
    void endArray() override {}
    void key(const std::string& /*k*/) override {}
    void null() override {}
    void value(int /*v*/) override {}
    void value(unsigned /*v*/) override {}
    void value(Poco::Int64 /*v*/) override {}
    void value(Poco::UInt64 /*v*/) override {}
    void value(const std::string& /*v*/) override {}
    void value(double /*v*/) override {}
    void value(bool /*v*/) override {}
};

void ReadJsonBare(benchmark::State& state) {
    JsonText();
    for (auto _ : state) {
        std::istringstream in(JsonText());
        Poco::JSON::Parser parser(new Deaf);
        parser.parse(in);
    }
    SetBytes(state, JsonText());
}

void ReadJsonTree(benchmark::State& state) {
    JsonText();
    for (auto _ : state) {
        std::istringstream in(JsonText());
        benchmark::DoNotOptimize(serialization::ReadJson(in));
    }
    SetBytes(state, JsonText());
}

BENCHMARK(WriteXmlBare)->Unit(benchmark::kMillisecond);
BENCHMARK(WriteXmlTree)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadXmlBare)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadXmlTree)->Unit(benchmark::kMillisecond);
// POCO's writer of JSON is driven by its parser, whose time is that of ReadJsonBare.
BENCHMARK(WriteJsonBare)->Unit(benchmark::kMillisecond);
BENCHMARK(WriteJsonTree)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadJsonBare)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadJsonTree)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace velmora::core::tessaryn
