// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/sample_reporter.h"

#include "text/escaped_text.h"
#include "text/time_text.h"
#include "text/value_text.h"

#include <vector>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

// Text and JSON have the same parts with different punctuation.
template <class Style>
class LineReporter : public SampleReporter {
  public:
    LineReporter(const std::string& stream, const tsn::StreamType& type)
        : streamText(Style::Format(stream)) {
        for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
            entries.push_back(type.GetEntry(id));
            entries.back().key = Style::FormatKey(entries.back().key, id == 0);
        }
    }

    void Report(std::string& out, const std::string& rule,
                const tsn::Sample& sample) const override {
        out += Style::beforeTime;
        AppendTime(out, sample.GetTimeStamp().epochMicroseconds());
        out += Style::beforeStream;
        out += streamText;
        Style::AppendRule(out, rule);
        for (std::size_t id = 0; id < entries.size(); ++id) {
            out += entries[id].key;
            AppendEntry(out, sample, static_cast<unsigned short>(id));
        }
        out += Style::atEnd;
    }

  private:
    void AppendEntry(std::string& out, const tsn::Sample& sample, unsigned short id) const {
        const tsn::BaseType type = entries[id].type;
        if (type == tsn::String) {
            out += Style::Format(sample.GetString(id));
            return;
        }
        const unsigned int size = sample.GetSize(id);
        if (size != 1) {
            out += '[';
        }
        for (unsigned int i = 0; i < size; ++i) {
            if (i > 0) {
                out += Style::separator;
            }
            VisitGetter(
                type, [&](auto getter) { AppendValue(out, (sample.*getter)(id, i), Style::form); });
        }
        if (size != 1) {
            out += ']';
        }
    }

    std::string streamText;
    // The keys are those of the type with the punctuation around them.
    std::vector<tsn::SampleEntry> entries;
};

struct TextStyle {
    static constexpr const char* beforeTime = "";
    static constexpr const char* beforeStream = " ";
    static constexpr const char* atEnd = "\n";
    static constexpr char separator = ';';
    static constexpr ValueForm form = ValueForm::text;

    static std::string Format(const std::string& text) {
        std::string word;
        AppendWord(word, text);
        return word;
    }

    static std::string FormatKey(const std::string& name, bool /*first*/) {
        return " " + name + "=";
    }

    static void AppendRule(std::string& out, const std::string& rule) {
        out += " [";
        AppendEscaped(out, rule);
        out += ']';
    }
};

struct JsonStyle {
    static constexpr const char* beforeTime = "{\"time\":\"";
    static constexpr const char* beforeStream = "\",\"stream\":";
    static constexpr const char* atEnd = "}}\n";
    static constexpr char separator = ',';
    static constexpr ValueForm form = ValueForm::json;

    static std::string Format(const std::string& text) {
        std::string json;
        AppendText(json, text, ValueForm::json);
        return json;
    }

    static std::string FormatKey(const std::string& name, bool first) {
        return (first ? "" : ",") + Format(name) + ":";
    }

    static void AppendRule(std::string& out, const std::string& rule) {
        out += ",\"rule\":";
        out += Format(rule);
        out += ",\"entries\":{";
    }
};

}  // namespace

std::unique_ptr<SampleReporter> MakeTextReporter(const std::string& stream,
                                                 const tsn::StreamType& type) {
    return std::make_unique<LineReporter<TextStyle>>(stream, type);
}

std::unique_ptr<SampleReporter> MakeJsonReporter(const std::string& stream,
                                                 const tsn::StreamType& type) {
    return std::make_unique<LineReporter<JsonStyle>>(stream, type);
}

}  // namespace velmora::tool
