// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/document_printer.h"
#include "document/element_history.h"
#include "tessaryn/base_type.h"
#include "text/value_text.h"

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

std::string Json(const std::string& text) {
    std::string json;
    AppendText(json, text, ValueForm::json);
    return json;
}

class JsonPrinter : public DocumentPrinter {
  public:
    explicit JsonPrinter(StandardOutput& output) : output(output), out(output.GetBuffer()) {}

    void Begin(Tree tree) override { groupKind = tree == Tree::types ? "type" : "stream"; }

    void PrintGroup(const TreePosition& position, char /*separator*/) override {
        out += R"({"kind":")" + groupKind + R"( group","path":)" + Json(position.path) + "}\n";
        output.Commit();
    }

    void PrintType(const TreePosition& position,
                   const tsn::StreamTypeCollection& versions) override {
        for (const tsn::StreamType* const type : versions.GetAll()) {
            out += R"({"kind":"type","path":)" + Json(position.path);
            out += R"(,"version":")" + type->GetVersion().ToString();
            out += R"(","hash":")" + FormatHash(*type) + R"(","entries":[)";
            for (unsigned short id = 0; id < type->GetNumEntries(); ++id) {
                BeginEntry(type->GetEntry(id), id);
                out += '}';
            }
            out += "]}\n";
            output.Commit();
        }
    }

    void PrintStream(const TreePosition& position, const tsn::Stream& stream,
                     const std::vector<tsn::Sample*>& samples) override {
        const tsn::StreamType& type = *stream.GetStreamType();
        out += R"({"kind":"stream","path":)" + Json(position.path);
        out += R"(,"type":)" + Json(type.GetFullName());
        out += R"(,"version":")" + type.GetVersion().ToString();
        out += R"(","samples":)" + std::to_string(samples.size());
        out += R"(,"max_size":)" + std::to_string(stream.GetMaxSize());
        out += R"(,"first":)" + (samples.empty() ? "null" : FormatJsonTime(*samples.front()));
        out += R"(,"last":)" + (samples.empty() ? "null" : FormatJsonTime(*samples.back()));
        out += R"(,"entries":[)";
        for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
            const tsn::SampleEntry entry = type.GetEntry(id);
            BeginEntry(entry, id);
            if (entry.type == tsn::String) {
                out += R"(,"last":)" +
                       (samples.empty() ? "null" : Json(samples.back()->GetString(id)));
            } else {
                AppendElements(entry.type, id, samples);
            }
            out += '}';
        }
        out += "]}\n";
        output.Commit();
    }

  private:
    static std::string FormatJsonTime(const tsn::Sample& sample) {
        return '"' + FormatTime(sample.GetTimeStamp()) + '"';
    }

    void BeginEntry(const tsn::SampleEntry& entry, unsigned short id) {
        out += id > 0 ? "," : "";
        out += R"({"name":)" + Json(entry.key) + R"(,"type":")" + ToString(entry.type) + '"';
    }

    void AppendElements(tsn::BaseType type, unsigned short id,
                        const std::vector<tsn::Sample*>& samples) {
        const auto orNull = [](const std::string& value) { return value.empty() ? "null" : value; };
        out += R"(,"elements":[)";
        const unsigned int count = GetMaxElements(samples, id);
        for (unsigned int i = 0; i < count; ++i) {
            const ElementHistory history =
                GetElementHistory(samples, id, i, type, ValueForm::json, 0);
            out += i > 0 ? "," : "";
            out += R"({"min":)" + orNull(history.minimum) + R"(,"max":)" + orNull(history.maximum) +
                   R"(,"last":)" + orNull(history.last) + '}';
        }
        out += ']';
    }

    StandardOutput& output;
    std::string& out;
    std::string groupKind;
};

}  // namespace

std::unique_ptr<DocumentPrinter> MakeJsonPrinter(StandardOutput& output) {
    return std::make_unique<JsonPrinter>(output);
}

}  // namespace velmora::tool
