// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/json_lines_reader.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

namespace velmora::tool {

namespace {

constexpr std::size_t maxDepth = 20;
constexpr std::size_t notNamed = static_cast<std::size_t>(-1);

}  // namespace

// Collects the cells of a line. Numbers come as they are written.
class JsonLinesReader::Handler {
  public:
    explicit Handler(JsonLinesReader& reader) : reader(reader) {}

    bool Null() { return Add(""); }
    bool Bool(bool value) { return Add(value ? "true" : "false"); }
    bool Int(int /*value*/) { return false; }
    bool Uint(unsigned int /*value*/) { return false; }
    bool Int64(std::int64_t /*value*/) { return false; }
    bool Uint64(std::uint64_t /*value*/) { return false; }
    bool Double(double /*value*/) { return false; }
    bool RawNumber(const char* value, rapidjson::SizeType length, bool /*copy*/) {
        return Add({value, length});
    }
    bool String(const char* value, rapidjson::SizeType length, bool /*copy*/) {
        return Add({value, length});
    }

    bool StartObject() {
        if (arrays > 0) {
            reader.fault = "an object inside an array is not read";
            return false;
        }
        prefixes.push_back(prefix.size());
        if (prefixes.size() == 2 && name == "entries") {
            reader.isOwnOutput = true;
        } else if (prefixes.size() > 1) {
            prefix += name;
            prefix += '.';
        }
        return prefixes.size() <= maxDepth;
    }
    bool Key(const char* value, rapidjson::SizeType length, bool /*copy*/) {
        name = {value, length};
        column = notNamed;
        return true;
    }
    bool EndObject(rapidjson::SizeType /*members*/) {
        prefix.resize(prefixes.back());
        prefixes.pop_back();
        return true;
    }
    bool StartArray() {
        if (prefixes.empty()) {
            return false;
        }
        Find();
        reader.columns[column].isArray = true;
        return ++arrays == 1;
    }
    bool EndArray(rapidjson::SizeType /*elements*/) {
        --arrays;
        return true;
    }

  private:
    void Find() {
        if (prefix.empty()) {
            column = reader.FindColumn(name);
        } else {
            column = reader.FindColumn(prefix + std::string(name));
        }
    }

    bool Add(std::string_view value) {
        if (prefixes.empty()) {
            return false;
        }
        if (column == notNamed) {
            Find();
        }
        std::string& cell = reader.columns[column].cell;
        if (arrays > 0 && !cell.empty()) {
            cell += ';';
        }
        cell += value;
        return true;
    }

    JsonLinesReader& reader;
    std::string prefix;
    std::vector<std::size_t> prefixes;
    std::string_view name;
    std::size_t column = notNamed;
    int arrays = 0;
};

std::size_t JsonLinesReader::FindColumn(std::string_view name) {
    if (expected < names.size() && names[expected] == name) {
        return expected++;
    }
    const auto [place, isNew] = places.emplace(name, names.size());
    if (isNew) {
        names.emplace_back(name);
        columns.emplace_back();
        header.Add(name);
    }
    expected = place->second + 1;
    return place->second;
}

const CsvRow* JsonLinesReader::Next() {
    const LineReader::Line* line = lines.Next();
    while (line != nullptr && line->text.find_first_not_of(" \t\r") == std::string_view::npos) {
        line = lines.Next();
    }
    if (line == nullptr) {
        return nullptr;
    }
    for (Column& column : columns) {
        column.cell.clear();
    }
    expected = 0;
    row.Clear(line->number);
    text = line->text;
    fault = nullptr;
    Handler handler(*this);
    rapidjson::Reader parser;
    rapidjson::InsituStringStream stream(text.data());
    constexpr unsigned int flags =
        rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag |
        rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    const rapidjson::ParseResult result = parser.Parse<flags>(stream, handler);
    if (line->isTooLong) {
        row.fault = "the line is longer than 1 MiB";
    } else if (result.Code() == rapidjson::kParseErrorTermination) {
        row.fault = fault == nullptr ? "the line is not an object with values" : fault;
    } else if (!result) {
        row.fault = rapidjson::GetParseError_En(result.Code());
    }
    for (const Column& column : columns) {
        row.Add(column.cell);
    }
    return &row;
}

}  // namespace velmora::tool
