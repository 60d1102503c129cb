// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/document_printer.h"
#include "document/element_history.h"
#include "tessaryn/base_type.h"
#include "text/escaped_text.h"

#include <algorithm>
#include <array>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr std::size_t sparklineWidth = 40;
constexpr unsigned int maxElementsShown = 16;
constexpr std::size_t maxTextLength = 40;

// Characters of a text in UTF-8.
std::size_t WidthOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    }));
}

std::string Word(const std::string& text) {
    std::string word;
    AppendWord(word, text);
    return word;
}

// Lines of cells that stand below each other.
class Table {
  public:
    using Row = std::array<std::string, 6>;

    void Add(Row row) { rows.push_back(std::move(row)); }

    void Print(std::string& out, std::size_t indent) const {
        std::array<std::size_t, std::tuple_size_v<Row>> widths{};
        for (const Row& row : rows) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                widths[i] = std::max(widths[i], WidthOf(row[i]));
            }
        }
        for (const Row& row : rows) {
            std::string line(indent, ' ');
            for (std::size_t i = 0; i < row.size(); ++i) {
                if (widths[i] > 0) {
                    line += row[i] + std::string(widths[i] - WidthOf(row[i]) + 2, ' ');
                }
            }
            line.erase(line.find_last_not_of(' ') + 1);
            out += line + '\n';
        }
    }

  private:
    std::vector<Row> rows;
};

class TextPrinter : public DocumentPrinter {
  public:
    explicit TextPrinter(StandardOutput& output) : output(output), unicode(LocaleHasUnicode()) {}

    void Begin(Tree tree) override {
        output.GetBuffer() += tree == Tree::types ? "types\n" : "streams\n";
    }

    void PrintGroup(const Place& place, char separator) override {
        Line(IndentOf(place), Word(place.name) + separator);
    }

    void PrintType(const Place& place, const tsn::StreamTypeCollection& versions) override {
        const std::size_t indent = IndentOf(place);
        Line(indent, Word(place.name));
        for (const tsn::StreamType* const type : versions.GetAll()) {
            const std::string hash = HashText(*type);
            Line(indent + step,
                 type->GetVersion().ToString() + (hash.empty() ? "" : "  hash " + hash));
            Table table;
            for (unsigned short id = 0; id < type->GetNumEntries(); ++id) {
                const tsn::SampleEntry entry = type->GetEntry(id);
                table.Add({Word(entry.key), ToString(entry.type), "", "", "", ""});
            }
            table.Print(output.GetBuffer(), indent + 2 * step);
            output.Commit();
        }
    }

    void PrintStream(const Place& place, const tsn::Stream& stream,
                     const std::vector<tsn::Sample*>& samples) override {
        const tsn::StreamType& type = *stream.GetStreamType();
        const std::size_t indent = IndentOf(place);
        Line(indent, Word(place.name) + "  type " + Word(type.GetFullName()) + " " +
                         type.GetVersion().ToString() + "  " + std::to_string(samples.size()) +
                         " of at most " + std::to_string(stream.GetMaxSize()) + " samples");
        if (!samples.empty()) {
            Line(indent + step, TimeText(samples.front()->GetTimeStamp()) + " to " +
                                    TimeText(samples.back()->GetTimeStamp()));
        }
        Table table;
        for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
            AddEntry(table, type.GetEntry(id), id, samples);
        }
        table.Print(output.GetBuffer(), indent + step);
        output.Commit();
    }

  private:
    static constexpr std::size_t step = 2;

    static std::size_t IndentOf(const Place& place) { return (place.depth + 1) * step; }

    void Line(std::size_t indent, const std::string& text) {
        output.GetBuffer() += std::string(indent, ' ') + text + '\n';
        output.Commit();
    }

    void AddEntry(Table& table, const tsn::SampleEntry& entry, unsigned short id,
                  const std::vector<tsn::Sample*>& samples) const {
        const std::string name = Word(entry.key);
        const std::string type = ToString(entry.type);
        const unsigned int count = GetMaxElements(samples, id);
        if (entry.type == tsn::String && !samples.empty()) {
            table.Add({name, type, "", "", "last " + Excerpt(samples.back()->GetString(id)), ""});
        } else if (entry.type == tsn::String || count == 0) {
            table.Add({name, type, "", "", "", ""});
        } else {
            for (unsigned int i = 0; i < std::min(count, maxElementsShown); ++i) {
                const std::string index = count > 1 ? "[" + std::to_string(i) + "]" : "";
                AddElement(table, name + index, entry, id, i, samples);
            }
            if (count > maxElementsShown) {
                const unsigned int more = count - maxElementsShown;
                table.Add({"and " + std::to_string(more) + " more of " + name, "", "", "", "", ""});
            }
        }
    }

    void AddElement(Table& table, const std::string& name, const tsn::SampleEntry& entry,
                    unsigned short id, unsigned int index,
                    const std::vector<tsn::Sample*>& samples) const {
        const ElementHistory course =
            GetElementHistory(samples, id, index, entry.type, ValueForm::text, sparklineWidth);
        const auto cell = [](const char* title, const std::string& value) {
            return value.empty() ? value : title + value;
        };
        table.Add({name, ToString(entry.type), cell("min ", course.least),
                   cell("max ", course.greatest), cell("last ", course.last),
                   Sparkline(course.means, unicode)});
    }

    static std::string Excerpt(const std::string& text) {
        const bool whole = text.size() <= maxTextLength;
        return whole ? Word(text) : Word(text.substr(0, maxTextLength)) + "...";
    }

    StandardOutput& output;
    bool unicode;
};

}  // namespace

std::unique_ptr<DocumentPrinter> MakeTextPrinter(StandardOutput& output) {
    return std::make_unique<TextPrinter>(output);
}

}  // namespace velmora::tool
