// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/request_reader.h"

#include "inspector/request_error.h"

#include <Poco/Exception.h>
#include <Poco/MemoryStream.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/NumberParser.h>
#include <Poco/String.h>

#include <algorithm>
#include <utility>

namespace velmora::inspector {

namespace {

using Poco::Net::HTTPRequest;

[[noreturn]] void Refuse(const std::string& reason) {
    throw RequestError(400, reason);
}

bool IsVisible(char c) {
    return c > ' ' && c < '\x7f';
}

bool IsOfName(char c) {
    return IsVisible(c) &&
           std::string_view("()<>@,;:\\\"/[]?={}").find(c) == std::string_view::npos;
}

// "GET /path HTTP/1.1", with single blanks.
void CheckFirstLine(std::string_view line) {
    const std::size_t first = line.find(' ');
    const std::size_t second = line.find(' ', first + 1);
    if (second == std::string_view::npos) {
        Refuse("The first line is malformed.");
    }
    const std::string_view method = line.substr(0, first);
    const std::string_view target = line.substr(first + 1, second - first - 1);
    const std::string_view version = line.substr(second + 1);
    if (method.empty() || method.size() > 16 ||
        !std::all_of(method.begin(), method.end(), [](char c) { return c >= 'A' && c <= 'Z'; }) ||
        target.empty() || target.front() != '/' ||
        !std::all_of(target.begin(), target.end(), IsVisible)) {
        Refuse("The first line is malformed.");
    }
    if (version != "HTTP/1.1" && version != "HTTP/1.0") {
        throw RequestError(505, "The version of HTTP is not supported.");
    }
}

// "Name: value", on one line.
void CheckHeaderLine(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == 0 || colon == std::string_view::npos ||
        !std::all_of(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(colon), IsOfName) ||
        !std::all_of(line.begin() + static_cast<std::ptrdiff_t>(colon), line.end(),
                     [](char c) { return c == '\t' || static_cast<unsigned char>(c) >= ' '; })) {
        Refuse("A header is malformed.");
    }
}

// Lines end with a line feed, before which a carriage return may stand.
std::string_view NextLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    return line;
}

void CheckHead(std::string_view head, std::size_t maxHeaders) {
    CheckFirstLine(NextLine(head));
    std::size_t count = 0;
    for (std::string_view line = NextLine(head); !line.empty(); line = NextLine(head)) {
        if (++count > maxHeaders) {
            throw RequestError(431, "There are too many headers.");
        }
        CheckHeaderLine(line);
    }
}

// A field that must not occur twice, since two readers could choose different ones.
std::string Single(const HTTPRequest& parsed, const std::string& name) {
    const auto first = parsed.find(name);
    if (first == parsed.end()) {
        return {};
    }
    if (std::any_of(std::next(first), parsed.end(),
                    [&](const auto& header) { return Poco::icompare(header.first, name) == 0; })) {
        Refuse("The header " + name + " is there twice.");
    }
    return first->second;
}

std::size_t BodySize(const HTTPRequest& parsed, std::size_t maximum) {
    if (parsed.has("Transfer-Encoding")) {
        throw RequestError(411, "A body needs a Content-Length.");
    }
    const std::string text = Single(parsed, "Content-Length");
    if (text.empty()) {
        return 0;
    }
    if (!std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        Refuse("The header Content-Length is not an integer.");
    }
    Poco::UInt64 size = 0;
    if (!Poco::NumberParser::tryParseUnsigned64(text, size, '\0') || size > maximum) {
        throw RequestError(413, "The body is too large.");
    }
    return size;
}

std::string Bearer(const std::string& authorization) {
    constexpr std::string_view scheme = "bearer ";
    return Poco::icompare(authorization.substr(0, scheme.size()), std::string(scheme)) == 0
               ? Poco::trim(authorization.substr(scheme.size()))
               : std::string();
}

}  // namespace

bool RequestReader::Read(Request& request) {
    if (headSize == 0) {
        if (!FindEnd()) {
            return false;
        }
        ReadHead();
    }
    if (buffer.size() < headSize + bodySize) {
        return false;
    }
    request = std::move(next);
    request.body = buffer.substr(headSize, bodySize);
    if (request.method == "POST") {
        AppendParameters(request.body, request);
    }
    buffer.erase(0, headSize + bodySize);
    searched = 0;
    headSize = 0;
    return true;
}

// The header ends with an empty line.
bool RequestReader::FindEnd() {
    for (std::size_t i = buffer.find('\n', searched); i != std::string::npos;
         i = buffer.find('\n', i + 1)) {
        const bool isCrLf = buffer.compare(i + 1, 2, "\r\n") == 0;
        if (isCrLf || buffer.compare(i + 1, 1, "\n") == 0) {
            CheckSizes(i + 1);
            headSize = i + 1 + (isCrLf ? 2 : 1);
            return true;
        }
    }
    CheckSizes(buffer.size());
    // Part of the end may have arrived.
    searched = buffer.size() - std::min<std::size_t>(buffer.size(), 3);
    return false;
}

void RequestReader::CheckSizes(std::size_t end) const {
    const std::size_t lineEnd = std::min(buffer.find('\n'), end);
    if (lineEnd > limits.maxLineBytes) {
        throw RequestError(414, "The address is too long.");
    }
    if (end - lineEnd > limits.maxHeaderBytes) {
        throw RequestError(431, "The headers are too long.");
    }
}

void RequestReader::ReadHead() {
    const std::string_view head = std::string_view(buffer).substr(0, headSize);
    CheckHead(head, limits.maxHeaders);
    HTTPRequest parsed;
    parsed.setFieldLimit(static_cast<int>(limits.maxHeaders));
    try {
        Poco::MemoryInputStream in(head.data(), static_cast<std::streamsize>(head.size()));
        parsed.read(in);
    } catch (const Poco::Exception&) {
        throw RequestError(431, "A header is too long.");
    }
    next = Request();
    next.method = parsed.getMethod();
    const std::string& target = parsed.getURI();
    const std::size_t query = std::min(target.find('?'), target.size());
    next.path = target.substr(0, query);
    next.host = Single(parsed, "Host");
    next.origin = Single(parsed, "Origin");
    next.site = Single(parsed, "Sec-Fetch-Site");
    next.bearer = Bearer(Single(parsed, "Authorization"));
    next.cookies = parsed.get("Cookie", "");
    next.isPersistent = parsed.getVersion() == HTTPRequest::HTTP_1_1 && parsed.getKeepAlive();
    AppendParameters(std::string_view(target).substr(std::min(query + 1, target.size())), next);
    bodySize = BodySize(parsed, limits.maxBodyBytes);
    if (bodySize > 0 && next.method != "POST") {
        throw RequestError(413, "A request of this kind has no body.");
    }
}

}  // namespace velmora::inspector
