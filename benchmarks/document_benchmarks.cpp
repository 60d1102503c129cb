// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What the documents of a whole stream repository cost: 1,000 streams of 100 samples of 4 entries,
// as XML and as JSON. The floor is POCO's bare writer and parser on the same document: the parser
// tells nobody, and the writer is driven by a list of what the parser would tell. Neither keeps a
// tree, so a factor of two leaves no room for a second copy of anything.

#include "serializer/json_format.h"
#include "serializer/xml_format.h"
#include "streams.h"
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

#include <algorithm>
#include <array>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace velmora::benchmarks {
namespace {

using core::serialization::NodeFlags;
using core::serialization::NodeRef;
using core::serialization::NodeTree;

NodeTree MakeTree() {
    constexpr int streamCount = 1000;
    constexpr int sampleCount = 100;
    Poco::Logger& logger = Poco::Logger::root();
    core::tessaryn::StreamTypeRepository types(logger, '/');
    StreamType& type = types.Add("plant/Reading")->Add(utils::Version(1, 0, 0));
    type.Add("temperature", core::tessaryn::Double, 1).Add("pressure", core::tessaryn::Float, 4);
    type.Add("state", core::tessaryn::Int32, 1).Add("label", core::tessaryn::String, 12);
    core::tessaryn::StreamRepository streams(logger, '/');
    ValueSource source;
    for (int i = 0; i < streamCount; ++i) {
        Stream& stream = *streams.AddStream("plant/line" + std::to_string(i), &type, sampleCount);
        for (int k = 0; k < sampleCount; ++k)
            PushValues<Stream, Sample>(stream, source);
    }
    NodeTree tree;
    const core::serialization::Serializer<NodeRef> serializer;
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

/// Takes the text and forgets it, so that no writer pays for the growth of a buffer; nor for the
/// lack of one.
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

/// Ends the benchmark in an error where what was written is no such document: blanks apart, for
/// POCO's writers have their own ways to indent.
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

/// What a SAX parser tells of a document, to be told again.
class XmlEvents : public Poco::XML::DefaultHandler {
  public:
    void startElement(const Poco::XML::XMLString& /*uri*/, const Poco::XML::XMLString& /*local*/,
                      const Poco::XML::XMLString& qname,
                      const Poco::XML::Attributes& given) override {
        EndText();
        events.push_back({Kind::start, qname, attributes.size()});
        attributes.emplace_back(given);
    }
    void endElement(const Poco::XML::XMLString& /*uri*/, const Poco::XML::XMLString& /*local*/,
                    const Poco::XML::XMLString& qname) override {
        EndText();
        events.push_back({Kind::end, qname, 0});
    }
    void characters(const Poco::XML::XMLChar text[], int start, int length) override {
        pending.append(text + start, static_cast<std::size_t>(length));
    }

    void Replay(Poco::XML::XMLWriter& writer) const {
        for (const Event& event : events) {
            switch (event.kind) {
                case Kind::start:
                    writer.startElement("", "", event.text, attributes[event.attributes]);
                    break;
                case Kind::end:
                    writer.endElement("", "", event.text);
                    break;
                case Kind::text:
                    writer.characters(event.text);
                    break;
            }
        }
    }

  private:
    enum class Kind { start, end, text };
    struct Event {
        Kind kind;
        std::string text;
        std::size_t attributes;
    };

    /// The blanks between elements are the writer's own to make.
    void EndText() {
        if (pending.find_first_not_of(" \n") != std::string::npos)
            events.push_back({Kind::text, pending, 0});
        pending.clear();
    }

    std::vector<Event> events;
    std::vector<Poco::XML::AttributesImpl> attributes;
    std::string pending;
};

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
void WriteOurs(benchmark::State& state) {
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

void ReadXmlOurs(benchmark::State& state) {
    XmlText();
    for (auto _ : state) {
        std::istringstream in(XmlText());
        benchmark::DoNotOptimize(core::serialization::ReadXml(in));
    }
}

/// What a JSON parser tells of a document, to be told again.
class JsonEvents : public Poco::JSON::Handler {
  public:
    void reset() override {}
    void startObject() override { events.push_back({Kind::startObject, "", 0}); }
    void endObject() override { events.push_back({Kind::endObject, "", 0}); }
    void startArray() override { events.push_back({Kind::startArray, "", 0}); }
    void endArray() override { events.push_back({Kind::endArray, "", 0}); }
    void key(const std::string& k) override { events.push_back({Kind::key, k, 0}); }
    void null() override {}
    void value(int v) override { events.push_back({Kind::number, "", v}); }
    void value(unsigned v) override { events.push_back({Kind::number, "", v}); }
    void value(Poco::Int64 v) override { events.push_back({Kind::number, "", v}); }
    void value(Poco::UInt64 v) override {
        events.push_back({Kind::number, "", static_cast<Poco::Int64>(v)});
    }
    void value(const std::string& v) override { events.push_back({Kind::text, v, 0}); }
    void value(double /*v*/) override {}
    void value(bool /*v*/) override {}

    void Replay(Poco::JSON::Handler& handler) const {
        for (const Event& event : events) {
            switch (event.kind) {
                case Kind::startObject:
                    handler.startObject();
                    break;
                case Kind::endObject:
                    handler.endObject();
                    break;
                case Kind::startArray:
                    handler.startArray();
                    break;
                case Kind::endArray:
                    handler.endArray();
                    break;
                case Kind::key:
                    handler.key(event.text);
                    break;
                case Kind::number:
                    handler.value(event.number);
                    break;
                case Kind::text:
                    handler.value(event.text);
                    break;
            }
        }
    }

  private:
    enum class Kind { startObject, endObject, startArray, endArray, key, number, text };
    struct Event {
        Kind kind;
        std::string text;
        Poco::Int64 number;
    };

    std::vector<Event> events;
};

/// Hears every event and keeps nothing.
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

void ReadJsonOurs(benchmark::State& state) {
    JsonText();
    for (auto _ : state) {
        std::istringstream in(JsonText());
        benchmark::DoNotOptimize(core::serialization::ReadJson(in));
    }
}

}  // namespace

void RegisterDocumentBenchmarks() {
    // Long enough by themselves; few repetitions do.
    const auto add = [](const char* name, void (*run)(benchmark::State&)) {
        benchmark::RegisterBenchmark(name, run)->Repetitions(4)->Iterations(1);
    };
    add("S.xml.write/ours", WriteOurs<core::serialization::WriteXml>);
    add("S.xml.write/floor", WriteXmlFloor);
    add("S.xml.read/ours", ReadXmlOurs);
    add("S.xml.read/floor", ReadXmlFloor);
    add("S.json.write/ours", WriteOurs<core::serialization::WriteJson>);
    add("S.json.write/floor", WriteJsonFloor);
    add("S.json.read/ours", ReadJsonOurs);
    add("S.json.read/floor", ReadJsonFloor);
}

}  // namespace velmora::benchmarks
