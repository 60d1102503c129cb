// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Keeping 100,000 samples in 100 streams, as a document and as a snapshot: time, size, and memory
// beside the samples. Beside reading into a tree stand the bare parsers, whose handlers do nothing.
// Sizes are reported as times: a byte is a nanosecond.

#include "heap.h"
#include "serializer/json_format.h"
#include "serializer/xml_format.h"
#include "streams.h"
#include "tessaryn/document.h"
#include "tessaryn/snapshot.h"

#include <Poco/Logger.h>
#include <benchmark/benchmark.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <array>
#include <expat.h>
#include <optional>
#include <sstream>
#include <streambuf>
#include <string>

namespace velmora::benchmarks {
namespace {

using core::serialization::NodeTree;
using core::serialization::ReadLimits;
using core::tessaryn::Document;
using core::tessaryn::DocumentLimits;
using core::tessaryn::StreamRepository;
using core::tessaryn::StreamTypeRepository;

constexpr int streamCount = 100;
constexpr int samplesOfStream = 1'000;
constexpr double sampleCount = streamCount * samplesOfStream;

using Writer = void (*)(const StreamTypeRepository&, const StreamRepository&, std::ostream&);
using Reader = Document (*)(std::istream&, const ReadLimits&, const DocumentLimits&);
using TreeReader = NodeTree (*)(std::istream&);

const Document& TheLog() {
    static const Document document = [] {
        Document made(std::make_unique<StreamTypeRepository>(Poco::Logger::root(), '/'),
                      std::make_unique<StreamRepository>(Poco::Logger::root(), '/'));
        core::tessaryn::StreamType& type =
            made.types->Add("plant/Reading")->Add(utils::Version(1, 0, 0));
        type.Add("temperature", core::tessaryn::Double, 1);
        type.Add("pressure", core::tessaryn::Float, 4);
        type.Add("state", core::tessaryn::Int32, 1).Add("label", core::tessaryn::String, 12);
        ValueSource source;
        for (int i = 0; i < streamCount; ++i) {
            Stream& stream =
                *made.streams->AddStream("plant/line" + std::to_string(i), &type, samplesOfStream);
            for (int k = 0; k < samplesOfStream; ++k) {
                PushValues<Stream, Sample>(stream, source);
            }
        }
        return made;
    }();
    return document;
}

template <Writer write>
const std::string& Text() {
    static const std::string text = [] {
        std::ostringstream out;
        write(*TheLog().types, *TheLog().streams, out);
        return out.str();
    }();
    return text;
}

// Passes bytes on in chunks, and notes at each how much memory is in use.
class Probe : public std::streambuf {
  public:
    explicit Probe(const std::string* text = nullptr) : text(text) {
        setp(buffer.data(), buffer.data() + buffer.size());
    }
    double GetPeak() const { return peak; }

  protected:
    int_type overflow(int_type c) override {
        peak = std::max(peak, GetHeap());
        setp(buffer.data(), buffer.data() + buffer.size());
        return sputc(traits_type::to_char_type(c));
    }
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        peak = std::max(peak, GetHeap());
        const std::size_t length = text->copy(to, static_cast<std::size_t>(count), position);
        position += length;
        return static_cast<std::streamsize>(length);
    }

  private:
    const std::string* text;
    std::size_t position = 0;
    double peak = 0;
    std::array<char, 65536> buffer;
};

template <Writer write>
void Write(benchmark::State& state) {
    Text<write>();
    for (auto _ : state) {
        Probe probe;
        std::ostream out(&probe);
        write(*TheLog().types, *TheLog().streams, out);
    }
}

// Deleting what was read is not measured: it costs the same, whatever was read.
template <Writer write, Reader read>
void Read(benchmark::State& state) {
    const std::string& text = Text<write>();
    for (auto _ : state) {
        std::istringstream in(text);
        std::optional<Document> document = read(in, {}, {});
        state.PauseTiming();
        const bool isEmpty = document->streams->IsEmpty();
        document.reset();
        state.ResumeTiming();
        if (isEmpty) {
            state.SkipWithError("no stream was read");
        }
    }
}

template <Writer write, TreeReader read>
void ReadTree(benchmark::State& state) {
    const std::string& text = Text<write>();
    for (auto _ : state) {
        std::istringstream in(text);
        benchmark::DoNotOptimize(read(in));
    }
}

void ParseXml(benchmark::State& state) {
    const std::string& text = Text<core::tessaryn::WriteXmlDocument>();
    for (auto _ : state) {
        XML_Parser parser = XML_ParserCreate(nullptr);
        XML_SetElementHandler(
            parser, [](void*, const char*, const char**) {}, [](void*, const char*) {});
        XML_SetCharacterDataHandler(parser, [](void*, const char*, int) {});
        if (XML_Parse(parser, text.data(), static_cast<int>(text.size()), 1) != XML_STATUS_OK) {
            state.SkipWithError("the document was refused");
        }
        XML_ParserFree(parser);
    }
}

void ParseJson(benchmark::State& state) {
    const std::string& text = Text<core::tessaryn::WriteJsonDocument>();
    for (auto _ : state) {
        rapidjson::StringStream in(text.c_str());
        rapidjson::BaseReaderHandler<> handler;
        rapidjson::Reader reader;
        constexpr unsigned flags =
            rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
        if (reader.Parse<flags>(in, handler).IsError()) {
            state.SkipWithError("the document was refused");
        }
    }
}

template <Writer write>
void MeasureSize(benchmark::State& state) {
    for (auto _ : state) {
        ReportBytes(state, static_cast<double>(Text<write>().size()) / sampleCount);
    }
}

// Memory that a tree takes, a node of those below samples: their values have 7 bytes on average.
void MeasureNode(benchmark::State& state) {
    constexpr int nodeCount = 1'000'000;
    for (auto _ : state) {
        const double before = GetHeap();
        const NodeTree tree;
        core::serialization::NodeRef list =
            tree.GetRoot().AddNode("Samples", core::serialization::NodeList);
        for (int i = 0; i < nodeCount / 2; ++i) {
            core::serialization::NodeRef entry =
                list.AddNode("Entry", core::serialization::NodeElement);
            entry.AddNode("Value", core::serialization::NodeValue).SetValue("12345678");
        }
        ReportBytes(state, (GetHeap() - before) / nodeCount - 4);
    }
}

template <Writer write>
void MeasureWriting(benchmark::State& state) {
    for (auto _ : state) {
        TheLog();
        const double before = GetHeap();
        Probe probe;
        std::ostream out(&probe);
        write(*TheLog().types, *TheLog().streams, out);
        ReportBytes(state, (probe.GetPeak() - before) / sampleCount);
    }
}

template <Writer write, Reader read>
void MeasureReading(benchmark::State& state) {
    const std::string& text = Text<write>();
    for (auto _ : state) {
        Probe probe(&text);
        std::istream in(&probe);
        const Document document = read(in, {}, {});
        ReportBytes(state, (probe.GetPeak() - GetHeap()) / sampleCount);
    }
}

template <Writer write, Reader read>
void Add(const std::string& name, int repetitions) {
    const auto add = [&name](const char* what, auto run) {
        return benchmark::RegisterBenchmark((name + what).c_str(), run)->Iterations(1);
    };
    add(".write/document", Write<write>)->Repetitions(repetitions);
    add(".read/document", Read<write, read>)->Repetitions(repetitions);
    add(".size/document", MeasureSize<write>)->UseManualTime();
    add(".write.memory/document", MeasureWriting<write>)->UseManualTime();
    add(".read.memory/document", MeasureReading<write, read>)->UseManualTime();
}

}  // namespace

void RegisterSnapshotBenchmarks() {
    using namespace core::tessaryn;
    const auto add = [](const char* name, auto run) {
        return benchmark::RegisterBenchmark(name, run)->Iterations(1);
    };
    Add<WriteXmlDocument, ReadXmlDocument>("K.xml", 4);
    Add<WriteJsonDocument, ReadJsonDocument>("K.json", 4);
    Add<WriteSnapshot, ReadSnapshot>("K.snapshot", 16);
    add("K.xml.tree/ours", ReadTree<WriteXmlDocument, core::serialization::ReadXml>)
        ->Repetitions(4);
    add("K.xml.tree/parser", ParseXml)->Repetitions(4);
    add("K.json.tree/ours", ReadTree<WriteJsonDocument, core::serialization::ReadJson>)
        ->Repetitions(4);
    add("K.json.tree/parser", ParseJson)->Repetitions(4);
    add("K.node/ours", MeasureNode)->UseManualTime();
}

}  // namespace velmora::benchmarks
