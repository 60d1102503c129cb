// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/sample_reporter.h"

#include "terminal/message.h"
#include "text/escaped_text.h"
#include "text/time_text.h"
#include "text/value_text.h"

#include <algorithm>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

// An event: a time in which a rule was true.
struct EventSpan {
    std::int64_t begin = 0;
    std::int64_t end = 0;
    std::uint64_t rows = 0;
};

// Text and JSON have the same parts with different punctuation.
template <class Style>
class LineReporter : public SampleReporter {
  public:
    LineReporter(const LineSettings& settings, const tsn::StreamType& type)
        : streamText(Style::Format(settings.stream)), times(*settings.times) {
        for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
            const tsn::SampleEntry entry = type.GetEntry(id);
            const std::string unit = id < settings.units.size() ? settings.units[id] : "";
            const auto& wanted = settings.columns;
            if (wanted.empty() || std::count(wanted.begin(), wanted.end(), entry.key) > 0) {
                AddColumn(entry, id, unit);
            }
        }
        end = Style::FormatEnd(units);
    }

    void Report(std::string& out, const LineLabel& label,
                const tsn::Sample& sample) const override {
        Begin(out, sample.GetTimeStamp().epochMicroseconds(), label);
        Style::AppendContext(out, label.context);
        out += Style::beforeEntries;
        for (const Column& column : columns) {
            out += column.key;
            AppendEntry(out, column, sample);
            out += column.suffix;
        }
        out += end;
    }

    void ReportEvent(std::string& out, const LineLabel& label,
                     const tsn::Sample& event) const override {
        // The first entries are begin, end and count; the extremes follow.
        constexpr unsigned short firstExtreme = 3;
        const EventSpan span{event.GetInt64(0, 0), event.GetInt64(1, 0), event.GetUInt64(2, 0)};
        Begin(out, span.begin, label);
        Style::AppendSpan(out, times.Format(span.end), span);
        out += Style::beforeEntries;
        const tsn::StreamType& type = *event.GetStreamType();
        for (unsigned short id = firstExtreme; id < type.GetNumEntries(); ++id) {
            const tsn::SampleEntry entry = type.GetEntry(id);
            out += Style::FormatKey(entry.key, id == firstExtreme);
            AppendEntry(out, {id, entry.type, {}, {}}, event);
            out += GetSuffix(entry.key.substr(0, entry.key.rfind('_')));
        }
        out += end;
    }

  private:
    struct Column {
        unsigned short id;
        tsn::BaseType type;
        /// The name with the punctuation around it, and what follows the value.
        std::string key;
        std::string suffix;
    };

    void AddColumn(const tsn::SampleEntry& entry, unsigned short id, const std::string& unit) {
        columns.push_back({id, entry.type, Style::FormatKey(entry.key, columns.empty()),
                           Style::FormatUnit(unit)});
        if (!unit.empty()) {
            units.emplace_back(entry.key, unit);
        }
    }

    std::string GetSuffix(const std::string& name) const {
        for (const auto& [entry, unit] : units) {
            if (entry == name) {
                return Style::FormatUnit(unit);
            }
        }
        return {};
    }

    void Begin(std::string& out, std::int64_t time, const LineLabel& label) const {
        out += Style::beforeTime;
        times.Append(out, time);
        out += Style::beforeStream;
        out += streamText;
        Style::AppendRule(out, label);
    }

    static void AppendEntry(std::string& out, const Column& column, const tsn::Sample& sample) {
        if (column.type == tsn::String) {
            out += Style::Format(sample.GetString(column.id));
            return;
        }
        const unsigned int size = sample.GetSize(column.id);
        if (size == 0) {
            out += Style::missing;
            return;
        }
        if (size != 1) {
            out += '[';
        }
        for (unsigned int i = 0; i < size; ++i) {
            if (i > 0) {
                out += Style::separator;
            }
            VisitGetter(column.type, [&](auto getter) {
                AppendValue(out, (sample.*getter)(column.id, i), Style::form);
            });
        }
        if (size != 1) {
            out += ']';
        }
    }

    std::string streamText;
    TimePrinter& times;
    std::vector<Column> columns;
    std::vector<std::pair<std::string, std::string>> units;
    std::string end;
};

using Units = std::vector<std::pair<std::string, std::string>>;

struct TextStyle {
    static constexpr const char* beforeTime = "";
    static constexpr const char* beforeStream = " ";
    static constexpr const char* beforeEntries = "";
    static constexpr const char* missing = "-";
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

    static std::string FormatUnit(const std::string& unit) {
        std::string text;
        AppendEscaped(text, unit);
        return text;
    }

    static std::string FormatEnd(const Units& /*units*/) { return "\n"; }

    static void AppendRule(std::string& out, const LineLabel& label) {
        out += " [";
        AppendEscaped(out, label.rule);
        if (!label.context.empty()) {
            out += ": ";
            out += label.context;
        }
        out += ']';
    }

    static void AppendContext(std::string& /*out*/, std::string_view /*context*/) {}

    static void AppendSpan(std::string& out, const std::string& end, const EventSpan& event) {
        out += " until " + end + " (" + FormatDuration(event.end - event.begin) + ", " +
               Counted(event.rows, "row") + ")";
    }
};

struct JsonStyle {
    static constexpr const char* beforeTime = "{\"time\":\"";
    static constexpr const char* beforeStream = "\",\"stream\":";
    static constexpr const char* beforeEntries = ",\"entries\":{";
    static constexpr const char* missing = "null";
    static constexpr char separator = ',';
    static constexpr ValueForm form = ValueForm::json;

    static std::string Format(std::string_view text) {
        std::string json;
        AppendJsonString(json, text);
        return json;
    }

    static std::string FormatKey(const std::string& name, bool first) {
        return (first ? "" : ",") + Format(name) + ":";
    }

    static std::string FormatUnit(const std::string& /*unit*/) { return {}; }

    static std::string FormatEnd(const Units& units) {
        if (units.empty()) {
            return "}}\n";
        }
        std::string text = "},\"units\":{";
        for (const auto& [entry, unit] : units) {
            text += FormatKey(entry, &entry == &units.front().first) + Format(unit);
        }
        return text + "}}\n";
    }

    static void AppendRule(std::string& out, const LineLabel& label) {
        out += ",\"rule\":";
        out += Format(label.rule);
    }

    static void AppendContext(std::string& out, std::string_view context) {
        if (!context.empty()) {
            out += ",\"context\":" + Format(context);
        }
    }

    static void AppendSpan(std::string& out, const std::string& end, const EventSpan& event) {
        out += ",\"end\":\"" + end + "\",\"seconds\":";
        AppendValue(out, static_cast<double>(event.end - event.begin) / 1e6, form);
        out += ",\"rows\":" + std::to_string(event.rows);
    }
};

}  // namespace

std::unique_ptr<SampleReporter> MakeTextReporter(const LineSettings& settings,
                                                 const tsn::StreamType& type) {
    return std::make_unique<LineReporter<TextStyle>>(settings, type);
}

std::unique_ptr<SampleReporter> MakeJsonReporter(const LineSettings& settings,
                                                 const tsn::StreamType& type) {
    return std::make_unique<LineReporter<JsonStyle>>(settings, type);
}

}  // namespace velmora::tool
