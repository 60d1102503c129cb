// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "reporter.h"

#include "text.h"
#include "time_text.h"

#include <Poco/JSONString.h>

#include <array>
#include <charconv>
#include <cmath>
#include <type_traits>
#include <vector>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

template <class T>
void AppendNumber(std::string& out, T value) {
    std::array<char, 32> digits;
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    out.append(digits.data(), result.ptr);
}

/// The fewest digits that tell the value from its neighbours; with an exponent where readers
/// would take it for a whole number too large for them.
template <class T>
void AppendDecimal(std::string& out, T value) {
    if (std::abs(value) < T(1e15) || !std::isfinite(value))
        return AppendNumber(out, value);
    std::array<char, 32> digits;
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                      std::chars_format::scientific);
    out.append(digits.data(), result.ptr);
}

/// Calls `visit` with the native value of one element; a `String` has none.
template <class Visit>
void VisitElement(const tsn::Sample& sample, unsigned short entry, tsn::BaseType type,
                  unsigned int index, Visit visit) {
    switch (type) {
        case tsn::Int8:
            return visit(static_cast<int>(sample.GetInt8(entry, index)));
        case tsn::Int16:
            return visit(sample.GetInt16(entry, index));
        case tsn::Int32:
            return visit(sample.GetInt32(entry, index));
        case tsn::Int64:
            return visit(sample.GetInt64(entry, index));
        case tsn::UInt8:
            return visit(static_cast<unsigned int>(sample.GetUInt8(entry, index)));
        case tsn::UInt16:
            return visit(sample.GetUInt16(entry, index));
        case tsn::UInt32:
            return visit(sample.GetUInt32(entry, index));
        case tsn::UInt64:
            return visit(sample.GetUInt64(entry, index));
        case tsn::Float:
            return visit(sample.GetFloat(entry, index));
        case tsn::Double:
            return visit(sample.GetDouble(entry, index));
        case tsn::Bool:
            return visit(sample.GetBool(entry, index));
        case tsn::UnknownType:
        case tsn::String:
            return;
    }
}

/// Text and JSON write the same elements and differ in what stands around them.
template <class Style>
class LineReporter : public Reporter {
  public:
    LineReporter(const std::string& stream, const tsn::StreamType& type)
        : streamText(Style::TextOf(stream)) {
        for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
            entries.push_back(type.GetEntry(id));
            entries.back().key = Style::KeyOf(entries.back().key, id == 0);
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
            out += Style::TextOf(sample.GetString(id));
            return;
        }
        const unsigned int size = sample.GetSize(id);
        if (size != 1)
            out += '[';
        for (unsigned int i = 0; i < size; ++i) {
            if (i > 0)
                out += Style::separator;
            VisitElement(sample, id, type, i, [&](auto value) { AppendValue(out, value); });
        }
        if (size != 1)
            out += ']';
    }

    template <class T>
    static void AppendValue(std::string& out, T value) {
        if constexpr (std::is_same_v<T, bool>) {
            out += value ? "true" : "false";
        } else if constexpr (std::is_floating_point_v<T>) {
            if (!Style::hasAllNumbers && !std::isfinite(value)) {
                out += "null";
            } else {
                AppendDecimal(out, value);
            }
        } else {
            AppendNumber(out, value);
        }
    }

    std::string streamText;
    /// Each key is what a line has before the entry's value.
    std::vector<tsn::SampleEntry> entries;
};

struct TextStyle {
    static constexpr const char* beforeTime = "";
    static constexpr const char* beforeStream = " ";
    static constexpr const char* atEnd = "\n";
    static constexpr char separator = ';';
    static constexpr bool hasAllNumbers = true;

    static std::string TextOf(const std::string& text) {
        std::string word;
        AppendWord(word, text);
        return word;
    }

    static std::string KeyOf(const std::string& name, bool /*first*/) { return " " + name + "="; }

    static void AppendRule(std::string& out, const std::string& rule) {
        out += " [";
        AppendVisible(out, rule);
        out += ']';
    }
};

struct JsonStyle {
    static constexpr const char* beforeTime = "{\"time\":\"";
    static constexpr const char* beforeStream = "\",\"stream\":";
    static constexpr const char* atEnd = "}}\n";
    static constexpr char separator = ',';
    static constexpr bool hasAllNumbers = false;

    static std::string TextOf(const std::string& text) {
        return Poco::toJSON(ToUtf8(text), static_cast<int>(Poco::JSON_WRAP_STRINGS));
    }

    static std::string KeyOf(const std::string& name, bool first) {
        return (first ? "" : ",") + TextOf(name) + ":";
    }

    static void AppendRule(std::string& out, const std::string& rule) {
        out += ",\"rule\":";
        out += TextOf(rule);
        out += ",\"entries\":{";
    }
};

}  // namespace

std::unique_ptr<Reporter> MakeTextReporter(const std::string& stream, const tsn::StreamType& type) {
    return std::make_unique<LineReporter<TextStyle>>(stream, type);
}

std::unique_ptr<Reporter> MakeJsonReporter(const std::string& stream, const tsn::StreamType& type) {
    return std::make_unique<LineReporter<JsonStyle>>(stream, type);
}

}  // namespace velmora::tool
