// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/xml_reader.h"

#include "serializer/document.h"
#include "serializer/read_budget.h"
#include "serializer/text_escapes.h"

#include <Poco/Ascii.h>
#include <Poco/String.h>
#include <Poco/TextEncoding.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <expat.h>
#include <istream>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace velmora::core::serialization::detail {

namespace {

bool IsBlank(char character) {
    return character == ' ' || character == '\n' || character == '\t' || character == '\r';
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

// Builds the tree from the parser's events and throws at the first that does not belong to one.
class XmlTreeBuilder {
  public:
    XmlTreeBuilder(XML_Parser parser, ReadBudget& budget, NodeArena& arena)
        : parser(parser), budget(budget), arena(arena) {}

    void Open(std::string_view element, const char* const* attributes);
    void Close();
    void AddText(std::string_view chunk) {
        text += text.empty() ? TrimStart(chunk) : chunk;
        Require(budget.CheckText(text));
    }
    /// Throws a `SerializationException` with the position of the current event.
    [[noreturn]] void Fail(const std::string& reason) const;

  private:
    enum class TextForm { Verbatim, Empty, Escaped };

    // Fails unless the budget allowed something.
    void Require(bool isWithinLimits) const {
        if (!isWithinLimits) {
            Fail(budget.GetReason());
        }
    }
    void OpenValue();
    void OpenNode(std::string_view element);
    void ReadAttributes(const char* const* attributes);
    void ReadFlags(std::string_view value);
    void CheckNoText() const;
    void TakeValue();

    XML_Parser parser;
    ReadBudget& budget;
    NodeArena& arena;

    // The node whose element is open. Null outside the outermost element.
    NodeRecord* current = nullptr;
    std::size_t depth = 0;
    // Whether the node's element '_value' is open.
    bool inValue = false;
    // The text since the last tag, without leading blanks.
    std::string text;
    // Of the innermost open element, before its first child.
    TextForm form = TextForm::Verbatim;
};

void XmlTreeBuilder::Fail(const std::string& reason) const {
    throw SerializationException("The XML document cannot be read at line " +
                                 std::to_string(XML_GetCurrentLineNumber(parser)) + ", column " +
                                 std::to_string(XML_GetCurrentColumnNumber(parser) + 1) + ": " +
                                 reason);
}

void XmlTreeBuilder::CheckNoText() const {
    if (!text.empty()) {
        Fail(
            "Unexpected text beside elements: the value of such a node is in an element "
            "'_value'.");
    }
}

void XmlTreeBuilder::Open(std::string_view element, const char* const* attributes) {
    CheckNoText();
    if (inValue || form != TextForm::Verbatim) {
        Fail("Unexpected element " + Quote(element) + " inside a value.");
    }
    if (element == valueElement) {
        OpenValue();
    } else {
        OpenNode(element);
    }
    ReadAttributes(attributes);
}

void XmlTreeBuilder::OpenValue() {
    if (current == nullptr || current->hasValue) {
        Fail(current == nullptr ? "Unexpected '_value' outside a node."
                                : "Unexpected second '_value': a node has one value.");
    }
    inValue = true;
}

void XmlTreeBuilder::OpenNode(std::string_view element) {
    if (current == nullptr) {
        if (element != rootElement) {
            Fail("Expected 'Tree' as the outermost element, found " + Quote(element) + ".");
        }
        current = &arena.GetRoot();
        return;
    }
    if (element != anyNodeElement && !IsElementName(element)) {
        Fail("Invalid element name " + Quote(element) + ".");
    }
    ++depth;
    current = &arena.Add(*current, std::string(element), NodeElement);
    Require(budget.AddNode(*current, depth));
}

// The attributes are pairs of name and value, followed by null.
void XmlTreeBuilder::ReadAttributes(const char* const* attributes) {
    const bool needsName =
        !inValue && current->parent != nullptr && current->name == anyNodeElement;
    bool hasName = false;
    for (; *attributes != nullptr; attributes += 2) {
        const std::string_view attribute = attributes[0];
        const std::string_view value = attributes[1];
        if (attribute == nameAttribute && needsName) {
            std::optional<std::string> name = Unescape(value);
            if (!name) {
                Fail("Invalid escape sequence in " + Quote(value) + ".");
            }
            current->name = std::move(*name);
            Require(budget.AddText(*current, current->name));
            hasName = true;
        } else if (attribute == flagsAttribute && !inValue) {
            ReadFlags(value);
        } else if (attribute == textAttribute && value == escapedText) {
            form = TextForm::Escaped;
        } else if (attribute == textAttribute && value == emptyText) {
            form = TextForm::Empty;
        } else {
            Fail("Unexpected attribute " + Quote(attribute) + " with value " + Quote(value) + ".");
        }
    }
    if (needsName && !hasName) {
        Fail("Element '_node' needs an attribute 'name'.");
    }
}

void XmlTreeBuilder::ReadFlags(std::string_view value) {
    unsigned flags = 0;
    const char* const end = value.data() + value.size();
    const auto [next, error] = std::from_chars(value.data(), end, flags);
    if (error != std::errc() || next != end) {
        Fail("Flags " + Quote(value) + " are not a 32-bit unsigned integer.");
    }
    current->flags = static_cast<NodeFlags>(flags);
    current->hasExplicitFlags = true;
}

void XmlTreeBuilder::Close() {
    // Text before the first child or after the last one is not the value of the node.
    if (inValue || (current->firstChild == nullptr && !current->hasValue)) {
        TakeValue();
    } else {
        CheckNoText();
    }
    text.clear();
    form = TextForm::Verbatim;
    if (inValue) {
        inValue = false;
    } else {
        current = current->parent;
        depth -= depth > 0 ? 1 : 0;
    }
}

void XmlTreeBuilder::TakeValue() {
    const std::string_view content = TrimEnd(text);
    if (form == TextForm::Escaped) {
        std::optional<std::string> value = Unescape(content);
        if (!value) {
            Fail("Invalid escape sequence in " + Quote(content) + ".");
        }
        current->value = std::move(*value);
        current->hasValue = true;
    } else if (form == TextForm::Empty && !content.empty()) {
        Fail("Unexpected text in a value marked as empty.");
    } else if (form == TextForm::Empty || inValue || !content.empty()) {
        current->value = content;
        current->hasValue = true;
    }
    Require(budget.AddText(*current, current->value));
}

// Runs the parser. An exception must not cross its C functions: it is stored, the parser stopped,
// and the exception rethrown when the parser has returned.
class XmlParser {
  public:
    XmlParser(const ReadLimits& limits, NodeArena& arena)
        : parser(XML_ParserCreate(nullptr), &XML_ParserFree),
          budget(limits, maxCopies),
          builder(parser.get(), budget, arena) {
        if (parser == nullptr) {
            throw std::bad_alloc();
        }
        XML_SetUserData(parser.get(), this);
        XML_SetElementHandler(
            parser.get(),
            [](void* self, const char* name, const char** attributes) {
                Handle(self, [&](XmlTreeBuilder& target) { target.Open(name, attributes); });
            },
            [](void* self, const char* /*name*/) {
                Handle(self, [](XmlTreeBuilder& target) { target.Close(); });
            });
        XML_SetCharacterDataHandler(parser.get(), [](void* self, const char* text, int length) {
            Handle(self, [&](XmlTreeBuilder& target) {
                target.AddText({text, static_cast<std::size_t>(length)});
            });
        });
        XML_SetStartDoctypeDeclHandler(
            parser.get(), [](void* self, const char* /*name*/, const char* /*systemId*/,
                             const char* /*publicId*/, int /*hasInternalSubset*/) {
                Handle(self, [](XmlTreeBuilder& target) {
                    target.Fail("Document types are not allowed.");
                });
            });
        XML_SetUnknownEncodingHandler(parser.get(), DescribeEncoding, nullptr);
    }

    void Parse(std::istream& in);

  private:
    // The parser moves a token from one buffer to one of twice the size, and attributes to a third.
    static constexpr unsigned maxCopies = 4;

    template <class Action>
    static void Handle(void* self, Action action) {
        XmlParser& parser = *static_cast<XmlParser*>(self);
        // A few events may follow the stop.
        if (parser.failure == nullptr) {
            try {
                action(parser.builder);
            } catch (...) {
                parser.failure = std::current_exception();
                XML_StopParser(parser.parser.get(), XML_FALSE);
            }
        }
    }
    static int DescribeEncoding(void* data, const char* name, XML_Encoding* encoding) noexcept;

    std::streamsize Read(std::istream& in, char* buffer, std::size_t length) const;

    std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser;
    ReadBudget budget;
    XmlTreeBuilder builder;
    std::exception_ptr failure;
};

// Adds the encodings of one byte a character that POCO knows to those of the parser.
int XmlParser::DescribeEncoding(void* /*data*/, const char* name, XML_Encoding* encoding) noexcept {
    try {
        const Poco::TextEncoding::Ptr known = Poco::TextEncoding::find(name);
        if (known.isNull()) {
            return XML_STATUS_ERROR;
        }
        const Poco::TextEncoding::CharacterMap& map = known->characterMap();
        constexpr int malformed = -1;
        if (std::any_of(std::begin(map), std::end(map),
                        [](int code) { return code < malformed; })) {
            return XML_STATUS_ERROR;
        }
        std::copy(std::begin(map), std::end(map), std::begin(encoding->map));
        encoding->data = nullptr;
        encoding->convert = nullptr;
        encoding->release = nullptr;
        return XML_STATUS_OK;
    } catch (const std::exception&) {
        return XML_STATUS_ERROR;
    }
}

std::streamsize XmlParser::Read(std::istream& in, char* buffer, std::size_t length) const {
    try {
        return in.rdbuf()->sgetn(buffer, static_cast<std::streamsize>(length));
    } catch (const std::exception& exception) {
        builder.Fail(exception.what());
    }
}

void XmlParser::Parse(std::istream& in) {
    constexpr std::size_t minChunkSize = std::size_t{64} * 1024;
    constexpr std::size_t maxChunkSize = std::size_t{256} * 1024 * 1024;
    std::size_t chunkSize = minChunkSize;
    std::size_t total = 0;
    for (bool isLast = false; !isLast;) {
        void* const buffer = XML_GetBuffer(parser.get(), static_cast<int>(chunkSize));
        if (buffer == nullptr) {
            throw std::bad_alloc();
        }
        const std::streamsize length = Read(in, static_cast<char*>(buffer), chunkSize);
        isLast = static_cast<std::size_t>(length) < chunkSize;
        if (!budget.AddChunk(static_cast<std::size_t>(length))) {
            builder.Fail(budget.GetReason());
        }
        if (XML_ParseBuffer(parser.get(), static_cast<int>(length), isLast ? 1 : 0) !=
            XML_STATUS_OK) {
            if (failure != nullptr) {
                std::rethrow_exception(failure);
            }
            const XML_Error error = XML_GetErrorCode(parser.get());
            if (error == XML_ERROR_NO_MEMORY) {
                throw std::bad_alloc();
            }
            builder.Fail(XML_ErrorString(error));
        }
        // The parser scans an incomplete tag or comment again from its beginning. Reading as much
        // again as there is of it keeps the time linear.
        total += static_cast<std::size_t>(length);
        const auto consumed =
            static_cast<std::size_t>(std::max<XML_Index>(XML_GetCurrentByteIndex(parser.get()), 0));
        chunkSize = std::clamp(total - std::min(consumed, total), minChunkSize, maxChunkSize);
    }
}

}  // namespace

bool IsElementName(std::string_view name) {
    if (name.empty() || !Poco::Ascii::isAlpha(name.front())) {
        return false;
    }
    const auto isNamePart = [](char character) {
        return Poco::Ascii::isAlphaNumeric(character) || character == '_' || character == '.' ||
               character == '-';
    };
    if (!std::all_of(name.begin(), name.end(), isNamePart)) {
        return false;
    }
    constexpr std::size_t prefixLength = 3;
    return Poco::Ascii::toLower(name.front()) != 'x' ||
           Poco::icompare(std::string(name.substr(0, prefixLength)), "xml") != 0;
}

void ReadXmlNodes(std::istream& in, const ReadLimits& limits, NodeArena& arena) {
    XmlParser(limits, arena).Parse(in);
    DeriveFlags(arena);
}

}  // namespace velmora::core::serialization::detail
