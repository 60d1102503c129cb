// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/document_printer.h"
#include "document/element_history.h"
#include "terminal/message.h"
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

std::size_t CountCharacters(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    }));
}

std::string Word(const std::string& text) {
    std::string word;
    AppendWord(word, text);
    return word;
}

// Rows of cells in aligned columns.
class Table {
  public:
    using Row = std::array<std::string, 6>;

    void Add(Row row) { rows.push_back(std::move(row)); }

    void Print(std::string& out, std::size_t indent) const {
        std::array<std::size_t, std::tuple_size_v<Row>> widths{};
        for (const Row& row : rows) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                widths[i] = std::max(widths[i], CountCharacters(row[i]));
            }
        }
        for (const Row& row : rows) {
            std::string line(indent, ' ');
            for (std::size_t i = 0; i < row.size(); ++i) {
                if (widths[i] > 0) {
                    line += row[i] + std::string(widths[i] - CountCharacters(row[i]) + 2, ' ');
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
    explicit TextPrinter(StandardOutput& output) : output(output), unicode(IsLocaleUtf8()) {}

    void Begin(Tree tree) override {
        output.GetBuffer() += tree == Tree::types ? "types\n" : "streams\n";
    }

    void PrintGroup(const TreePosition& position, char separator) override {
        Line(GetIndent(position), Word(position.name) + separator);
    }

    void PrintType(const TreePosition& position,
                   const tsn::StreamTypeCollection& versions) override {
        const std::size_t indent = GetIndent(position);
        Line(indent, Word(position.name));
        for (const tsn::StreamType* const type : versions.GetAll()) {
            const std::string hash = FormatHash(*type);
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

    void PrintStream(const TreePosition& position, const tsn::Stream& stream,
                     const std::vector<tsn::Sample*>& samples) override {
        const tsn::StreamType& type = *stream.GetStreamType();
        const std::size_t indent = GetIndent(position);
        Line(indent, Word(position.name) + "  type " + Word(type.GetFullName()) + " " +
                         type.GetVersion().ToString() + "  " + std::to_string(samples.size()) +
                         " of at most " +
                         Counted(static_cast<unsigned long>(stream.GetMaxSize()), "sample"));
        if (!samples.empty()) {
            Line(indent + step, FormatTime(samples.front()->GetTimeStamp()) + " to " +
                                    FormatTime(samples.back()->GetTimeStamp()));
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

    static std::size_t GetIndent(const TreePosition& position) {
        return (position.depth + 1) * step;
    }

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
                table.Add({std::to_string(more) + " more of " + name, "", "", "", "", ""});
            }
        }
    }

    void AddElement(Table& table, const std::string& name, const tsn::SampleEntry& entry,
                    unsigned short id, unsigned int index,
                    const std::vector<tsn::Sample*>& samples) const {
        const ElementHistory history =
            GetElementHistory(samples, id, index, entry.type, ValueForm::text, sparklineWidth);
        const auto cell = [](const char* title, const std::string& value) {
            return value.empty() ? value : title + value;
        };
        table.Add({name, ToString(entry.type), cell("min ", history.minimum),
                   cell("max ", history.maximum), cell("last ", history.last),
                   MakeSparkline(history.means, unicode)});
    }

    static std::string Excerpt(const std::string& text) {
        return text.size() <= maxTextLength ? Word(text)
                                            : Word(text.substr(0, maxTextLength)) + "...";
    }

    StandardOutput& output;
    bool unicode;
};

}  // namespace

std::unique_ptr<DocumentPrinter> MakeTextPrinter(StandardOutput& output) {
    return std::make_unique<TextPrinter>(output);
}

}  // namespace velmora::tool
