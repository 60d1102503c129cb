// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/answer.h"

#include "inspector/json_text.h"

#include <Poco/Net/HTTPResponse.h>
#include <Poco/NumberFormatter.h>

#include <sstream>

namespace velmora::inspector {

namespace {

using Poco::Net::HTTPResponse;

// The page loads nothing from other sites, cannot be framed by them, and has no inline scripts.
constexpr const char* contentSecurity =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
    "img-src 'self' data:; base-uri 'none'; form-action 'self'; frame-ancestors 'none'";

}  // namespace

BodySource::~BodySource() = default;

Answer MakeError(int status, const std::string& message) {
    JsonText json;
    json.BeginObject().Key("error").Text(message).EndObject();
    Answer answer;
    answer.status = status;
    answer.body = json.Take();
    if (status == 401) {
        answer.headers.emplace_back("WWW-Authenticate", "Bearer realm=\"inspector\"");
    }
    return answer;
}

Answer MakeRedirect(const std::string& place) {
    Answer answer;
    answer.status = 303;
    answer.type = "text/plain";
    answer.headers.emplace_back("Location", place);
    return answer;
}

std::string FormatAnswer(const Answer& answer, bool withBody, bool isLast) {
    const auto status = static_cast<HTTPResponse::HTTPStatus>(answer.status);
    const bool isOpen = answer.rest || answer.events;
    HTTPResponse response(Poco::Net::HTTPMessage::HTTP_1_1, status,
                          HTTPResponse::getReasonForStatus(status));
    response.setContentType(answer.type);
    response.set("Cache-Control", "no-store");
    response.set("Content-Security-Policy", contentSecurity);
    response.set("X-Content-Type-Options", "nosniff");
    // With "no-referrer", browsers would also hide the origin of a form.
    response.set("Referrer-Policy", "same-origin");
    response.set("Cross-Origin-Resource-Policy", "same-origin");
    response.set("X-Frame-Options", "DENY");
    response.setKeepAlive(!isLast);
    if (!isOpen) {
        response.setContentLength64(static_cast<Poco::Int64>(answer.body.size()));
    } else if (answer.rest && !isLast) {
        response.setChunkedTransferEncoding(true);
    }
    for (const auto& [name, value] : answer.headers) {
        response.add(name, value);
    }
    std::ostringstream out;
    response.write(out);
    std::string text = out.str();
    if (withBody && !answer.body.empty()) {
        text += response.getChunkedTransferEncoding() ? FormatChunk(answer.body) : answer.body;
    }
    return text;
}

std::string FormatChunk(const std::string& part) {
    return Poco::NumberFormatter::formatHex(static_cast<Poco::UInt64>(part.size())) + "\r\n" +
           part + "\r\n";
}

}  // namespace velmora::inspector
