// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/json_lines_reader.h"

#include "text/escaped_text.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

namespace velmora::tool {

namespace {

constexpr std::size_t maxDepth = 20;
constexpr std::size_t notNamed = static_cast<std::size_t>(-1);

// Examines all bytes, which is faster than stopping at the first match.
bool IsAscii(std::string_view text) {
    unsigned int bits = 0;
    for (const char c : text) {
        bits |= static_cast<unsigned char>(c);
    }
    return bits < 0x80U;
}

}  // namespace

// Collects the cells of a line. Numbers are kept as written.
class JsonLinesReader::Handler {
  public:
    explicit Handler(JsonLinesReader& reader) : reader(reader) {}

    rapidjson::ParseResult Parse(rapidjson::InsituStringStream& stream, bool isAscii) {
        prefix.clear();
        prefixes.clear();
        arrays = 0;
        // The handler bounds the depth, so that a parser that calls itself does no harm.
        constexpr unsigned int flags =
            rapidjson::kParseInsituFlag | rapidjson::kParseNumbersAsStringsFlag;
        constexpr unsigned int checked = flags | rapidjson::kParseValidateEncodingFlag;
        return isAscii ? parser.Parse<flags>(stream, *this) : parser.Parse<checked>(stream, *this);
    }

    bool Null() { return Add(""); }
    bool Bool(bool value) { return Add(value ? "true" : "false", true); }
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
        reader.columns[column] = {{}, true};
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

    // Adds a value, which is a part of the text unless it is a word.
    bool Add(std::string_view value, bool isWord = false) {
        if (prefixes.empty()) {
            return false;
        }
        if (column == notNamed) {
            Find();
        }
        reader.order.push_back(column);
        std::string_view& cell = reader.columns[column].cell;
        if (arrays > 0 && !cell.empty()) {
            cell = Join(cell, value);
        } else {
            cell = isWord ? Append(value) : value;
        }
        return true;
    }

    // The cell with one more element, behind the line.
    std::string_view Join(std::string_view cell, std::string_view element) {
        if (cell.data() + cell.size() != reader.text.data() + reader.text.size()) {
            cell = Append(cell);
        }
        Append(";");
        Append(element);
        return {cell.data(), cell.size() + 1 + element.size()};
    }

    // `Next` reserved the room, so that the text stays where it is.
    std::string_view Append(std::string_view part) {
        const std::size_t begin = reader.text.size();
        reader.text += part;
        return std::string_view(reader.text).substr(begin);
    }

    JsonLinesReader& reader;
    rapidjson::Reader parser;
    std::string prefix;
    std::vector<std::size_t> prefixes;
    std::string_view name;
    std::size_t column = notNamed;
    int arrays = 0;
};

JsonLinesReader::JsonLinesReader(InputStream& input)
    : lines(input), handler(std::make_unique<Handler>(*this)) {}

JsonLinesReader::~JsonLinesReader() = default;

std::size_t JsonLinesReader::FindColumn(std::string_view name) {
    if (IsExpected(name)) {
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

// Whether a name is the expected next one. Compares with the line, since the parser's copy, just
// written byte by byte, is slow to read; the line has the same bytes unless the name has escapes.
bool JsonLinesReader::IsExpected(std::string_view name) const {
    if (expected >= names.size() || names[expected].size() != name.size()) {
        return false;
    }
    const bool isOfLine = name.data() >= text.data() && name.data() < text.data() + original.size();
    const std::string_view written =
        isOfLine ? original.substr(static_cast<std::size_t>(name.data() - text.data()), name.size())
                 : name;
    return names[expected] == written && written.find('\\') == std::string_view::npos;
}

void JsonLinesReader::DescribeFault(const rapidjson::ParseResult& result) {
    std::string_view reason = rapidjson::GetParseError_En(result.Code());
    reason.remove_suffix(reason.ends_with('.') ? 1 : 0);
    faultText = reason;
    const std::size_t at = result.Offset();
    faultText += " at byte " + std::to_string(at + 1);
    if (at < original.size()) {
        constexpr std::size_t maxLength = 10;
        faultText += ", " + Quoted(original.substr(at, maxLength));
    }
    row.fault = faultText.c_str();
}

const CsvRow* JsonLinesReader::Next() {
    const LineReader::Line* next = lines.Next();
    while (next != nullptr && next->text.find_first_not_of(" \t\r") == std::string_view::npos) {
        next = lines.Next();
    }
    if (next == nullptr) {
        return nullptr;
    }
    original = next->text;
    for (Column& column : columns) {
        column.cell = {};
    }
    const bool isPromising = !next->isTooLong && forms.IsPromising();
    const std::vector<JsonLineForms::Cell>* const cells =
        isPromising ? forms.Read(original) : nullptr;
    if (cells == nullptr) {
        Parse(*next);
        if (isPromising && row.fault == nullptr) {
            forms.Learn(original, order);
        }
    } else {
        row.Refer(original, next->number);
        for (const JsonLineForms::Cell& cell : *cells) {
            columns[cell.column].cell = cell.text;
        }
    }
    for (const Column& column : columns) {
        row.AddPart(column.cell);
    }
    return &row;
}

void JsonLinesReader::Parse(const LineReader::Line& line) {
    expected = 0;
    fault = nullptr;
    order.clear();
    text.clear();
    // Arrays that become cells take no more than the line does.
    text.reserve(2 * original.size() + 2);
    text = original;
    // Ends the line even if arrays follow it.
    text += '\0';
    rapidjson::InsituStringStream stream(text.data());
    const rapidjson::ParseResult result = handler->Parse(stream, IsAscii(original));
    row.Refer(text, line.number);
    if (line.isTooLong) {
        row.fault = "the line is longer than 1 MiB";
    } else if (result.Code() == rapidjson::kParseErrorTermination) {
        row.fault = fault == nullptr ? "the line is not an object with values" : fault;
    } else if (!result) {
        DescribeFault(result);
    }
}

}  // namespace velmora::tool
