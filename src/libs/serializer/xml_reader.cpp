// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/xml_reader.h"

#include "serializer/document.h"
#include "serializer/xml_scanner.h"

#include <Poco/TextEncoding.h>

#include <algorithm>
#include <exception>
#include <expat.h>
#include <memory>
#include <new>
#include <string>

namespace velmora::core::serialization::detail {

namespace {

// Runs the parser on what the scanner has left. An exception must not cross the parser's C
// functions: it is stored, the parser stopped, and the exception rethrown when that has returned.
class XmlParser final : public XmlSource {
  public:
    XmlParser(DocumentInput& input, XmlTreeBuilder& builder);

    /// Reads the rest of the document.
    /// \param opening what the parser must have read before, on one line; it causes no events
    void Parse(const std::string& opening);

    TextPosition GetTokenPosition() const override;

  private:
    template <class Action>
    static void Handle(void* self, Action action) {
        XmlParser& parser = *static_cast<XmlParser*>(self);
        // A few events may follow the stop.
        if (parser.failure == nullptr && parser.isPastOpening) {
            try {
                action(parser.builder);
            } catch (...) {
                parser.failure = std::current_exception();
                XML_StopParser(parser.parser.get(), XML_FALSE);
            }
        }
    }
    static void Open(void* self, const char* name, const char** attributes);
    static int DescribeEncoding(void* data, const char* name, XML_Encoding* encoding) noexcept;

    void Check(XML_Status status) const;

    DocumentInput& input;
    XmlTreeBuilder& builder;
    std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser;
    // Where the parser begins, and how much it was given before.
    TextPosition begin;
    std::size_t openingLength = 0;
    bool isPastOpening = false;
    std::vector<XmlAttribute> attributeList;
    std::exception_ptr failure;
};

XmlParser::XmlParser(DocumentInput& input, XmlTreeBuilder& builder)
    : input(input),
      builder(builder),
      parser(XML_ParserCreate(nullptr), &XML_ParserFree),
      begin(input.GetPosition(input.next)) {
    if (parser == nullptr) {
        throw std::bad_alloc();
    }
    XML_SetUserData(parser.get(), this);
    XML_SetElementHandler(parser.get(), Open, [](void* self, const char* /*name*/) {
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
            Handle(self,
                   [](XmlTreeBuilder& target) { target.Fail("Document types are not allowed."); });
        });
    XML_SetUnknownEncodingHandler(parser.get(), DescribeEncoding, nullptr);
}

void XmlParser::Open(void* self, const char* name, const char** attributes) {
    Handle(self, [&](XmlTreeBuilder& target) {
        std::vector<XmlAttribute>& list = static_cast<XmlParser*>(self)->attributeList;
        list.clear();
        // Pairs of name and value, followed by null.
        for (const char** at = attributes; *at != nullptr; at += 2) {
            list.push_back({at[0], at[1]});
        }
        target.Open(name, list);
    });
}

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

TextPosition XmlParser::GetTokenPosition() const {
    const std::size_t line = XML_GetCurrentLineNumber(parser.get());
    const std::size_t column = XML_GetCurrentColumnNumber(parser.get());
    if (line > 1) {
        return {begin.line + line - 1, column + 1};
    }
    return {begin.line, begin.column + column - std::min(column, openingLength)};
}

void XmlParser::Check(XML_Status status) const {
    if (status == XML_STATUS_OK) {
        return;
    }
    if (failure != nullptr) {
        std::rethrow_exception(failure);
    }
    const XML_Error error = XML_GetErrorCode(parser.get());
    if (error == XML_ERROR_NO_MEMORY) {
        throw std::bad_alloc();
    }
    builder.Fail(XML_ErrorString(error));
}

void XmlParser::Parse(const std::string& opening) {
    openingLength = opening.size();
    if (!opening.empty()) {
        Check(XML_Parse(parser.get(), opening.data(), static_cast<int>(opening.size()), 0));
    }
    isPastOpening = true;
    constexpr std::size_t maxPiece = std::size_t{256} * 1024 * 1024;
    std::size_t given = opening.size();
    while (true) {
        const std::size_t length =
            std::min(static_cast<std::size_t>(input.end - input.next), maxPiece);
        const bool isLast = input.HasReadAll() && input.next + length == input.end;
        Check(XML_Parse(parser.get(), input.next, static_cast<int>(length), isLast ? 1 : 0));
        if (isLast) {
            return;
        }
        input.next += length;
        given += length;
        if (input.next == input.end) {
            // The parser scans an incomplete tag or comment again from its beginning. Reading as
            // much again as there is of it keeps the time linear.
            const auto consumed = static_cast<std::size_t>(
                std::max<XML_Index>(XML_GetCurrentByteIndex(parser.get()), 0));
            input.Fill(given - std::min(consumed, given));
        }
    }
}

}  // namespace

void ReadXmlNodes(std::istream& in, const ReadLimits& limits, NodeArena& arena,
                  const ConsumedLists* lists) {
    // A token is in the buffer of the input and in that of the parser, which may move it to one of
    // twice the size; attributes are copied once more.
    constexpr unsigned maxCopies = 4;
    ReadBudget budget(limits, maxCopies, arena);
    DocumentInput input(in, budget, "XML");
    XmlTreeBuilder builder(budget, arena, lists);
    XmlScanner scanner(input, builder);
    builder.SetSource(scanner);
    if (!scanner.Run()) {
        XmlParser parser(input, builder);
        builder.SetSource(parser);
        if (builder.IsComplete()) {
            parser.Parse("<Tree/>");
        } else if (builder.IsInside()) {
            parser.Parse(builder.GetOpenTags());
        } else {
            // Without it, a declaration could follow what the scanner has read.
            parser.Parse(scanner.HasBegun() ? "<!---->" : "");
        }
    }
    DeriveFlags(arena);
}

}  // namespace velmora::core::serialization::detail
