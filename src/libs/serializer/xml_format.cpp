// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/xml_format.h"

#include "serializer/private/document.h"
#include "serializer/private/text_escapes.h"

#include <Poco/SAX/Attributes.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/SAX/InputSource.h>
#include <Poco/SAX/LexicalHandler.h>
#include <Poco/SAX/SAXException.h>
#include <Poco/XML/ParserEngine.h>
#include <Poco/XML/XMLException.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <istream>
#include <optional>
#include <streambuf>
#include <utility>

namespace velmora::core::serialization {

using detail::NodeArena;
using detail::NodeRecord;
using detail::TextSink;

namespace {

// Names of nodes begin with a letter, or they are no names of elements; so these are free.
constexpr std::string_view anyNodeElement = "_node";
constexpr std::string_view valueElement = "_value";

constexpr std::string_view nameAttribute = "name";
constexpr std::string_view flagsAttribute = "flags";
constexpr std::string_view textAttribute = "text";
constexpr std::string_view emptyText = "empty";
constexpr std::string_view escapedText = "escaped";

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether a node's name can be an element's. XML keeps names with "xml" in front to itself.
bool IsElementName(std::string_view name) {
    if (name.empty() || !IsLetter(name.front())) {
        return false;
    }
    const auto isNamePart = [](char c) {
        return IsLetter(c) || (c >= '0' && c <= '9') || c == '_' || c == '.' || c == '-';
    };
    if (!std::all_of(name.begin(), name.end(), isNamePart)) {
        return false;
    }
    const auto isLetterOf = [&name](std::size_t at, char lower) {
        return (static_cast<unsigned char>(name[at]) | 0x20U) == static_cast<unsigned char>(lower);
    };
    return name.size() < 3 || !(isLetterOf(0, 'x') && isLetterOf(1, 'm') && isLetterOf(2, 'l'));
}

// ---------------------------------------------------------------------------------------------
// Writing

void WriteMarkup(TextSink& out, std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t special = std::min(text.find_first_of("&<>\"", at), text.size());
        out << text.substr(at, special - at);
        if (special < text.size()) {
            switch (text[special]) {
                case '&':
                    out << "&amp;";
                    break;
                case '<':
                    out << "&lt;";
                    break;
                case '>':
                    out << "&gt;";
                    break;
                default:
                    out << "&quot;";
            }
        }
        at = special + 1;
    }
}

std::string_view GetElementName(const NodeRecord& record) {
    if (record.parent == nullptr) {
        return detail::rootElement;
    }
    return IsElementName(record.name) ? std::string_view(record.name) : anyNodeElement;
}

// Writes a value and the end of the start tag before it, which tells how to read it.
void WriteValue(TextSink& out, const std::string& value, std::string_view element) {
    if (value.empty()) {
        out << ' ' << textAttribute << "=\"" << emptyText << "\"/>\n";
        return;
    }
    if (detail::IsPlainText(value)) {
        out << '>';
        WriteMarkup(out, value);
    } else {
        out << ' ' << textAttribute << "=\"" << escapedText << "\">";
        WriteMarkup(out, detail::Escape(value));
    }
    out << "</" << element << ">\n";
}

void OpenElement(TextSink& out, const NodeRecord& record, std::size_t depth) {
    const std::string_view element = GetElementName(record);
    out.Indent(depth);
    out << '<' << element;
    if (element == anyNodeElement) {
        out << ' ' << nameAttribute << "=\"";
        WriteMarkup(out, detail::Escape(record.name));
        out << '"';
    }
    if (record.flags != GetDerivedFlags(record)) {
        out << ' ' << flagsAttribute << "=\"" << std::to_string(record.flags) << '"';
    }
    if (record.firstChild == nullptr && record.hasValue) {
        WriteValue(out, record.value, element);
    } else if (record.firstChild == nullptr) {
        out << "/>\n";
    } else {
        out << ">\n";
        if (record.hasValue) {
            out.Indent(depth + 1);
            out << '<' << valueElement;
            WriteValue(out, record.value, valueElement);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Reading

bool IsBlank(char c) {
    return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

std::string_view TrimStart(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

std::string_view TrimEnd(std::string_view text) {
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Builds the tree from the parser's events. These come through the frames of a C library, which
// an exception must not cross: it is kept, and thrown when the parser has returned.
class TreeBuilder : public Poco::XML::DefaultHandler, public Poco::XML::LexicalHandler {
  public:
    explicit TreeBuilder(NodeArena& target) : arena(target) {}

    bool HasFailed() const { return failure != nullptr; }
    void ThrowFailure() const {
        if (HasFailed()) {
            std::rethrow_exception(failure);
        }
    }
    void Fail(const std::string& reason) {
        Run([&] { Refuse(reason); });
    }

    void setDocumentLocator(const Poco::XML::Locator* where) override { locator = where; }
    void startElement(const Poco::XML::XMLString& /*uri*/, const Poco::XML::XMLString& /*local*/,
                      const Poco::XML::XMLString& name,
                      const Poco::XML::Attributes& attributes) override {
        Run([&] { Open(name, attributes); });
    }
    void endElement(const Poco::XML::XMLString& /*uri*/, const Poco::XML::XMLString& /*local*/,
                    const Poco::XML::XMLString& /*name*/) override {
        Run([&] { Close(); });
    }
    void characters(const Poco::XML::XMLChar characters[], int start, int length) override {
        const std::string_view piece(characters + start, static_cast<std::size_t>(length));
        Run([&] { text += text.empty() ? TrimStart(piece) : piece; });
    }
    void startDTD(const Poco::XML::XMLString& /*name*/, const Poco::XML::XMLString& /*publicId*/,
                  const Poco::XML::XMLString& /*systemId*/) override {
        Run([&] { Refuse("A document type is not allowed here."); });
    }
    void endDTD() override {}
    void startEntity(const Poco::XML::XMLString& /*name*/) override {}
    void endEntity(const Poco::XML::XMLString& /*name*/) override {}
    void startCDATA() override {}
    void endCDATA() override {}
    void comment(const Poco::XML::XMLChar /*characters*/[], int /*start*/,
                 int /*length*/) override {}

  private:
    enum class TextForm { plain, empty, escaped };

    template <class Action>
    void Run(Action action) noexcept {
        if (HasFailed()) {
            return;
        }
        try {
            action();
        } catch (...) {
            failure = std::current_exception();
        }
    }

    [[noreturn]] void Refuse(const std::string& reason) const;
    void Open(const std::string& element, const Poco::XML::Attributes& attributes);
    void OpenValue();
    void OpenNode(const std::string& element);
    void ReadAttributes(const Poco::XML::Attributes& attributes);
    void ReadFlags(const std::string& value);
    [[noreturn]] void RefuseAttribute(const std::string& attribute, const std::string& value) const;
    void Close();
    void RefuseTextBesideElements() const;
    void TakeText();

    NodeArena& arena;
    const Poco::XML::Locator* locator = nullptr;
    std::exception_ptr failure;

    // The node whose element is open, null outside the outermost.
    NodeRecord* current = nullptr;
    std::size_t depth = 0;
    // Whether the value's own element inside that element is open.
    bool inValue = false;
    // Since the last tag, without the blanks before it.
    std::string text;
    // Of the element opened last.
    TextForm form = TextForm::plain;
};

void TreeBuilder::Refuse(const std::string& reason) const {
    throw SerializationException("The XML document can not be read at line " +
                                 std::to_string(locator->getLineNumber()) + ", column " +
                                 std::to_string(locator->getColumnNumber() + 1) + ": " + reason);
}

void TreeBuilder::RefuseTextBesideElements() const {
    if (!text.empty()) {
        Refuse("Text stands beside elements; a value has an element '_value' of its own there.");
    }
}

void TreeBuilder::Open(const std::string& element, const Poco::XML::Attributes& attributes) {
    RefuseTextBesideElements();
    if (inValue || form != TextForm::plain) {
        Refuse("Element '" + element + "' stands inside a value.");
    }
    if (element == valueElement) {
        OpenValue();
    } else {
        OpenNode(element);
    }
    ReadAttributes(attributes);
    text.clear();
}

void TreeBuilder::OpenValue() {
    if (current == nullptr || current->hasValue) {
        Refuse(current == nullptr ? "The value belongs to no node." : "The node has two values.");
    }
    inValue = true;
}

void TreeBuilder::OpenNode(const std::string& element) {
    if (current == nullptr) {
        if (element != detail::rootElement) {
            Refuse("The outermost element is '" + element + "', not 'Tree'.");
        }
        current = &arena.GetRoot();
        return;
    }
    if (element != anyNodeElement && !IsElementName(element)) {
        Refuse("'" + element + "' is not an element's name here.");
    }
    if (++depth > detail::maxDepth) {
        Refuse("The tree is deeper than " + std::to_string(detail::maxDepth) + " levels.");
    }
    current = &arena.Add(*current, element, NodeElement);
}

void TreeBuilder::ReadAttributes(const Poco::XML::Attributes& attributes) {
    bool named = inValue || current->parent == nullptr || current->name != anyNodeElement;
    const bool mayBeNamed = !named;
    for (int i = 0; i < attributes.getLength(); ++i) {
        const std::string& attribute = attributes.getQName(i);
        const std::string& value = attributes.getValue(i);
        if (attribute == nameAttribute && mayBeNamed) {
            std::optional<std::string> name = detail::Unescape(value);
            if (!name) {
                Refuse("The name '" + value + "' holds a wrong escape.");
            }
            current->name = std::move(*name);
            named = true;
        } else if (attribute == flagsAttribute && !inValue) {
            ReadFlags(value);
        } else if (attribute == textAttribute && value == escapedText) {
            form = TextForm::escaped;
        } else if (attribute == textAttribute && value == emptyText) {
            form = TextForm::empty;
        } else {
            RefuseAttribute(attribute, value);
        }
    }
    if (!named) {
        Refuse("Element '_node' has no name.");
    }
}

void TreeBuilder::ReadFlags(const std::string& value) {
    unsigned flags = 0;
    const char* const end = value.data() + value.size();
    const auto [next, error] = std::from_chars(value.data(), end, flags);
    if (error != std::errc() || next != end) {
        Refuse("The flags '" + value + "' are not a 32-bit unsigned integer.");
    }
    current->flags = static_cast<NodeFlags>(flags);
    current->flagsStated = true;
}

void TreeBuilder::RefuseAttribute(const std::string& attribute, const std::string& value) const {
    Refuse("Attribute '" + attribute + "' with value '" + value + "' has no meaning here.");
}

void TreeBuilder::Close() {
    // What comes before the first child or after the last one is not the node's value.
    if (inValue || (current->firstChild == nullptr && !current->hasValue)) {
        TakeText();
    } else {
        RefuseTextBesideElements();
    }
    text.clear();
    form = TextForm::plain;
    if (inValue) {
        inValue = false;
    } else {
        current = current->parent;
        depth -= depth > 0 ? 1 : 0;
    }
}

void TreeBuilder::TakeText() {
    const std::string_view content = TrimEnd(text);
    if (form == TextForm::escaped) {
        std::optional<std::string> value = detail::Unescape(content);
        if (!value) {
            Refuse("The value holds a wrong escape.");
        }
        current->value = std::move(*value);
        current->hasValue = true;
    } else if (form == TextForm::empty && !content.empty()) {
        Refuse("The value is not empty.");
    } else if (form == TextForm::empty || inValue || !content.empty()) {
        current->value = content;
        current->hasValue = true;
    }
}

// Feeds the parser until a failure is noted: what follows then need not be looked at.
class Feed : public std::streambuf {
  public:
    Feed(std::istream& in, TreeBuilder& target) : source(*in.rdbuf()), builder(target) {}

  protected:
    std::streamsize xsgetn(char* buffer, std::streamsize length) override {
        if (builder.HasFailed()) {
            return 0;
        }
        try {
            return source.sgetn(buffer, length);
        } catch (const std::exception& exception) {
            builder.Fail(exception.what());
            return 0;
        }
    }

  private:
    std::streambuf& source;
    TreeBuilder& builder;
};

// The parser's text without the position at its end, which is told in another way here.
std::string GetReason(const Poco::XML::XMLException& exception, const Poco::XML::Locator& where) {
    std::string reason = exception.message();
    const std::string position = " in line " + std::to_string(where.getLineNumber()) + " column " +
                                 std::to_string(where.getColumnNumber());
    if (reason.ends_with(position)) {
        reason.erase(reason.size() - position.size());
    }
    return reason;
}

void Parse(std::istream& in, TreeBuilder& builder) {
    Feed feed(in, builder);
    std::istream stream(&feed);
    Poco::XML::InputSource source(stream);
    Poco::XML::ParserEngine parser;
    parser.setExpandInternalEntities(false);
    parser.setContentHandler(&builder);
    parser.setLexicalHandler(&builder);
    try {
        parser.parse(&source);
    } catch (const Poco::XML::XMLException& exception) {
        // What the builder noted came first, and most often led to this.
        builder.ThrowFailure();
        builder.Fail(GetReason(exception, parser));
    }
    builder.ThrowFailure();
}

}  // namespace

void WriteXml(const NodeTree& tree, std::ostream& out) {
    TextSink sink(out);
    sink << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    detail::Walk(
        detail::NodeAccess::GetArena(tree).GetRoot(),
        [&sink](const NodeRecord& record, std::size_t depth) { OpenElement(sink, record, depth); },
        [&sink](const NodeRecord& record, std::size_t depth) {
            sink.Indent(depth);
            sink << "</" << GetElementName(record) << ">\n";
        });
    sink.Finish();
}

NodeTree ReadXml(std::istream& in) {
    if (!in) {
        throw SerializationException("The stream of the XML document can not be read.");
    }
    NodeTree tree;
    TreeBuilder builder(detail::NodeAccess::GetArena(tree));
    Parse(in, builder);
    detail::DeriveFlags(detail::NodeAccess::GetArena(tree));
    return tree;
}

}  // namespace velmora::core::serialization
