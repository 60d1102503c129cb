// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Writing and reading the documents of a stream repository: 1,000 streams of 100 samples of 4
// entries, as XML and as JSON. The floor is POCO's writer and parser on the same document: the
// parser's handler ignores all events, and the writer replays a recorded list of them. Neither
// keeps a tree.

#include "document_events.h"
#include "serializer/json_format.h"
#include "serializer/xml_format.h"
#include "streams.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/JSON/Parser.h>
#include <Poco/JSON/PrintHandler.h>
#include <Poco/Logger.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/SAXParser.h>
#include <Poco/XML/XMLWriter.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <streambuf>
#include <string>

namespace velmora::benchmarks {
namespace {

using core::serialization::NodeFlags;
using core::serialization::NodeRef;
using core::serialization::NodeTree;

const core::serialization::Serializer<NodeRef> serializer;

// A stream type in a repository of its own, and 1,000 streams of it in another.
class Plant {
  public:
    Plant() : types(Poco::Logger::root(), '/'), streams(Poco::Logger::root(), '/') {
        constexpr int streamCount = 1000;
        constexpr int sampleCount = 100;
        StreamType& type = types.Add("plant/Reading")->Add(utils::Version(1, 0, 0));
        type.Add("temperature", core::tessaryn::Double, 1);
        type.Add("pressure", core::tessaryn::Float, 4);
        type.Add("state", core::tessaryn::Int32, 1).Add("label", core::tessaryn::String, 12);
        ValueSource source;
        for (int i = 0; i < streamCount; ++i) {
            Stream& stream =
                *streams.AddStream("plant/line" + std::to_string(i), &type, sampleCount);
            for (int k = 0; k < sampleCount; ++k) {
                PushValues<Stream, Sample>(stream, source);
            }
        }
    }

    explicit Plant(const NodeTree& tree)
        : types(Poco::Logger::root(), serializer, tree.GetRoot()["Types"]),
          streams(Poco::Logger::root(), serializer, tree.GetRoot()["Streams"], types) {}

    NodeTree ToTree() const {
        NodeTree tree;
        NodeRef root = tree.GetRoot();
        NodeRef typesNode = root.AddNode("Types", NodeFlags::NodeElement);
        types.Serialize(serializer, typesNode);
        NodeRef streamsNode = root.AddNode("Streams", NodeFlags::NodeElement);
        streams.Serialize(serializer, streamsNode);
        return tree;
    }

    bool IsEmpty() const { return streams.IsEmpty(); }

  private:
    core::tessaryn::StreamTypeRepository types;
    core::tessaryn::StreamRepository streams;
};

const Plant& ThePlant() {
    static const Plant plant;
    return plant;
}

const NodeTree& Tree() {
    static const NodeTree tree = ThePlant().ToTree();
    return tree;
}

template <void (*write)(const NodeTree&, std::ostream&)>
const std::string& Text() {
    static const std::string text = [] {
        std::ostringstream out;
        write(Tree(), out);
        return out.str();
    }();
    return text;
}

const std::string& XmlText() {
    return Text<core::serialization::WriteXml>();
}

const std::string& JsonText() {
    return Text<core::serialization::WriteJson>();
}

// Discards the text, so that no writer pays for a growing buffer, nor for the lack of a buffer.
class Sink : public std::streambuf {
  public:
    Sink() { setp(buffer.data(), buffer.data() + buffer.size()); }

    std::streamsize Size() const { return forgotten + (pptr() - pbase()); }

  protected:
    int_type overflow(int_type c) override {
        forgotten += pptr() - pbase();
        setp(buffer.data(), buffer.data() + buffer.size());
        return traits_type::eq_int_type(c, traits_type::eof())
                   ? traits_type::not_eof(c)
                   : sputc(traits_type::to_char_type(c));
    }

  private:
    std::array<char, 65536> buffer;
    std::streamsize forgotten = 0;
};

// Fails the benchmark if what was written is not that document. Blanks are ignored: POCO's writers
// indent differently.
void CheckSize(benchmark::State& state, std::streamsize written, const std::string& document) {
    const auto blanks = std::count(document.begin(), document.end(), ' ') +
                        std::count(document.begin(), document.end(), '\n');
    const auto size = static_cast<std::streamsize>(document.size());
    if (written < size - blanks || written > 2 * size) {
        const std::string error = "wrote " + std::to_string(written) + " bytes in place of " +
                                  std::to_string(size) + ", " + std::to_string(blanks) +
                                  " of them blank";
        state.SkipWithError(error.c_str());
    }
}

void ParseXml(Poco::XML::ContentHandler& handler) {
    std::istringstream in(XmlText());
    Poco::XML::SAXParser parser;
    parser.setFeature(Poco::XML::XMLReader::FEATURE_NAMESPACES, false);
    parser.setContentHandler(&handler);
    Poco::XML::InputSource source(in);
    parser.parse(&source);
}

void WriteXmlFloor(benchmark::State& state) {
    static const XmlEvents events = [] {
        XmlEvents made;
        ParseXml(made);
        return made;
    }();
    std::streamsize written = 0;
    for (auto _ : state) {
        Sink sink;
        std::ostream out(&sink);
        Poco::XML::XMLWriter writer(
            out, Poco::XML::XMLWriter::WRITE_XML_DECLARATION | Poco::XML::XMLWriter::PRETTY_PRINT);
        writer.startDocument();
        events.Replay(writer);
        writer.endDocument();
        written = sink.Size();
    }
    CheckSize(state, written, XmlText());
}

void ReadXmlFloor(benchmark::State& state) {
    XmlText();
    for (auto _ : state) {
        Poco::XML::DefaultHandler handler;
        ParseXml(handler);
    }
}

template <void (*write)(const NodeTree&, std::ostream&)>
void WriteTree(benchmark::State& state) {
    const std::string& text = Text<write>();
    std::streamsize written = 0;
    for (auto _ : state) {
        Sink sink;
        std::ostream out(&sink);
        write(Tree(), out);
        written = sink.Size();
    }
    CheckSize(state, written, text);
}

template <void (*write)(const NodeTree&, std::ostream&)>
void WritePlant(benchmark::State& state) {
    const std::string& text = Text<write>();
    std::streamsize written = 0;
    for (auto _ : state) {
        Sink sink;
        std::ostream out(&sink);
        write(ThePlant().ToTree(), out);
        written = sink.Size();
    }
    CheckSize(state, written, text);
}

template <NodeTree (*read)(std::istream&)>
void ReadTree(benchmark::State& state, const std::string& (*text)()) {
    text();
    for (auto _ : state) {
        std::istringstream in(text());
        benchmark::DoNotOptimize(read(in));
    }
}

template <NodeTree (*read)(std::istream&)>
void ReadPlant(benchmark::State& state, const std::string& (*text)()) {
    text();
    for (auto _ : state) {
        std::istringstream in(text());
        const Plant plant(read(in));
        if (plant.IsEmpty()) {
            state.SkipWithError("no stream was read");
        }
    }
}

void WriteJsonFloor(benchmark::State& state) {
    static const Poco::SharedPtr<JsonEvents> events = [] {
        Poco::SharedPtr<JsonEvents> made(new JsonEvents);
        Poco::JSON::Parser parser(made);
        parser.parse(JsonText());
        return made;
    }();
    std::streamsize written = 0;
    for (auto _ : state) {
        Sink sink;
        std::ostream out(&sink);
        Poco::JSON::PrintHandler printer(out, 0);
        events->Replay(printer);
        written = sink.Size();
    }
    CheckSize(state, written, JsonText());
}

void ReadJsonFloor(benchmark::State& state) {
    JsonText();
    for (auto _ : state) {
        std::istringstream in(JsonText());
        Poco::JSON::Parser parser(new Deaf);
        parser.parse(in);
    }
}

}  // namespace

void RegisterDocumentBenchmarks() {
    using core::serialization::ReadJson;
    using core::serialization::ReadXml;
    using core::serialization::WriteJson;
    using core::serialization::WriteXml;
    // One iteration is long enough to measure; a few repetitions suffice.
    const auto add = [](const char* name, auto run, auto... text) {
        benchmark::RegisterBenchmark(name, run, text...)->Repetitions(4)->Iterations(1);
    };
    add("S.xml.write/floor", WriteXmlFloor);
    add("S.xml.write/ours", WritePlant<WriteXml>);
    add("S.xml.write/tree", WriteTree<WriteXml>);
    add("S.xml.read/floor", ReadXmlFloor);
    add("S.xml.read/ours", ReadPlant<ReadXml>, XmlText);
    add("S.xml.read/tree", ReadTree<ReadXml>, XmlText);
    add("S.json.write/floor", WriteJsonFloor);
    add("S.json.write/ours", WritePlant<WriteJson>);
    add("S.json.write/tree", WriteTree<WriteJson>);
    add("S.json.read/floor", ReadJsonFloor);
    add("S.json.read/ours", ReadPlant<ReadJson>, JsonText);
    add("S.json.read/tree", ReadTree<ReadJson>, JsonText);
}

}  // namespace velmora::benchmarks
