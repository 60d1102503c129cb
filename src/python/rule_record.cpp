// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "rule_record.h"

#include "entry_value.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/stream_type.h"

#include <string_view>

namespace velmora::python {

using core::tessaryn::RuleFinding;
using core::tessaryn::RuleSyntaxException;
using core::tessaryn::TextSpan;

TextSpan InCharacters(std::string_view text, TextSpan bytes) {
    const std::size_t begin = py::len(ToText(text.substr(0, bytes.offset)));
    const std::size_t end = py::len(ToText(text.substr(0, bytes.offset + bytes.length)));
    return {begin, end - begin};
}

RuleRecord::RuleRecord(const std::string& text) : text(text) {
    try {
        for (const RuleFinding& finding : CheckRule(text, core::tessaryn::StreamType())) {
            if (finding.kind == RuleFinding::missingOperand) {
                throw RuleSyntaxException(finding.message, finding.span, finding.hint);
            }
        }
        rule = core::tessaryn::rules::Expression(text);
    } catch (const RuleSyntaxException& error) {
        throw RuleSyntaxException(error.message(), InCharacters(text, error.GetSpan()),
                                  error.GetHint());
    }
}

}  // namespace velmora::python
