// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/document_input.h"
#include "serializer/xml_tree_builder.h"

#include <string>
#include <string_view>
#include <vector>

/// \file
/// Internal to this library.

namespace velmora::core::serialization::detail {

/// Reads what documents mostly consist of: tags with ASCII names, texts, the five predefined
/// entities, comments.
///
/// At anything else, and at whatever might be malformed, it stops and leaves the rest to the
/// parser, which decides. So it need not know how to refuse, only what is certainly well-formed.
class XmlScanner final : public XmlSource {
  public:
    XmlScanner(DocumentInput& input, XmlTreeBuilder& builder) : input(input), builder(builder) {}

    /// Reads from the beginning of the document. Returns whether it was read to its end; otherwise
    /// the input's next byte is the first that was not read.
    bool Run();
    /// Whether something was read.
    bool HasBegun() const { return hasBegun; }

    TextPosition GetTokenPosition() const override { return input.GetPosition(input.next); }

  private:
    /// What became of a token.
    enum class Outcome {
        Read,        ///< it was read, and the input has moved behind it
        Incomplete,  ///< its end is not in the buffer
        Unknown      ///< it is left to the parser
    };

    Outcome ReadDeclaration();
    Outcome ReadToken();
    Outcome ReadText();
    Outcome ReadComment();
    Outcome ReadStartTag();
    Outcome ReadEndTag();
    Outcome ReadAttributes(const char*& at);
    Outcome ReadAttribute(const char*& at);
    bool SkipBlanks();
    bool AppendDecoded(std::string_view raw, std::string& decoded) const;

    DocumentInput& input;
    XmlTreeBuilder& builder;
    bool hasBegun = false;
    std::vector<XmlAttribute> attributes;
    // Values of attributes with entities, and a text with some.
    std::vector<std::string> decodedValues;
    std::string decodedText;
};

}  // namespace velmora::core::serialization::detail
