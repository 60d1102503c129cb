// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/chart.h"
#include "inspector/client_rule.h"
#include "inspector/json_text.h"
#include "inspector/request_error.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <utf8.h>

namespace velmora::inspector {

using core::tessaryn::RuleFinding;
using core::tessaryn::RuleSyntaxException;
using core::tessaryn::Stream;
using core::tessaryn::StreamType;
using core::tessaryn::TextSpan;

namespace {

// The number of UTF-16 code units, as JavaScript counts them, of the first bytes of a text. An
// invalid byte counts as one unit, that of its replacement character.
std::size_t CountUnits(std::string_view text) {
    const std::string valid = CleanText(text);
    return static_cast<std::size_t>(
        std::count_if(valid.begin(), valid.end(),
                      [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }) +
        std::count_if(valid.begin(), valid.end(),
                      [](char c) { return static_cast<unsigned char>(c) >= 0xF0U; }));
}

struct Finding {
    bool isError = false;
    std::string message;
    TextSpan span;
    std::string hint;
};

void AppendFinding(JsonText& json, std::string_view rule, const Finding& finding) {
    const std::size_t begin = std::min(finding.span.offset, rule.size());
    const std::size_t end = std::min(begin + finding.span.length, rule.size());
    json.BeginObject().Key("severity").Text(finding.isError ? "error" : "warning");
    json.Key("message").Text(finding.message);
    json.Key("begin").Unsigned(CountUnits(rule.substr(0, begin)));
    json.Key("end").Unsigned(CountUnits(rule.substr(0, end)));
    if (!finding.hint.empty()) {
        json.Key("hint").Text(finding.hint);
    }
    json.EndObject();
}

// A rule that can throw is reported like a malformed one, since it would throw out of a push.
std::vector<Finding> Check(const std::string& rule, const StreamType& type,
                           const InspectorLimits& limits) {
    std::vector<Finding> findings;
    try {
        const ClientRule parsed(rule, limits);
        for (const RuleFinding& finding : core::tessaryn::CheckRule(rule, type)) {
            findings.push_back({finding.CanThrow(), finding.message, finding.span, finding.hint});
        }
    } catch (const RuleSyntaxException& error) {
        findings.push_back({true, error.message(), error.GetSpan(), error.GetHint()});
    } catch (const RequestError& error) {
        findings.push_back({true, error.what(), {0, rule.size()}, {}});
    }
    return findings;
}

const StreamType* FindType(const Model& model, const Request& request) {
    const StreamType* type = nullptr;
    if (const std::string name(request.Get("type")); !name.empty()) {
        model.types.AtomicExecute([&] {
            const auto* const collection = model.types.ResolvePtr(name);
            type = collection == nullptr ? nullptr : collection->GetLatestPtr();
        });
    } else {
        model.Visit(request.Require("path"),
                    [&](const Stream& stream) { type = stream.GetStreamType(); });
    }
    if (type == nullptr) {
        throw RequestError(404, "There is no such type.");
    }
    return type;
}

}  // namespace

Answer CheckClientRule(const Model& model, const Request& request) {
    const std::string rule(request.Get("rule"));
    const StreamType* const type = FindType(model, request);
    const std::vector<Finding> findings = Check(rule, *type, model.options.limits);
    JsonText json;
    json.BeginObject().Key("ok").Bool(findings.empty()).Key("findings").BeginArray();
    for (const Finding& finding : findings) {
        AppendFinding(json, rule, finding);
    }
    json.EndArray().EndObject();
    Answer answer;
    answer.body = json.Take();
    return answer;
}

}  // namespace velmora::inspector
