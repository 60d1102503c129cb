// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/request.h"

#include "inspector/request_error.h"

#include <Poco/Exception.h>
#include <Poco/NumberParser.h>
#include <Poco/URI.h>

#include <algorithm>

namespace velmora::inspector {

namespace {

constexpr std::size_t maxParameters = 300;

std::string Decode(std::string_view text) {
    std::string encoded(text);
    // POCO decodes "+" only behind a question mark.
    std::replace(encoded.begin(), encoded.end(), '+', ' ');
    std::string decoded;
    try {
        Poco::URI::decode(encoded, decoded);
    } catch (const Poco::SyntaxException&) {
        throw RequestError(400, "The address is malformed.");
    }
    return decoded;
}

}  // namespace

bool Request::Has(std::string_view name) const {
    return std::any_of(parameters.begin(), parameters.end(),
                       [&](const auto& parameter) { return parameter.first == name; });
}

std::string_view Request::Get(std::string_view name) const {
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [&](const auto& parameter) { return parameter.first == name; });
    return found == parameters.end() ? std::string_view() : std::string_view(found->second);
}

std::vector<std::string> Request::GetAll(std::string_view name) const {
    std::vector<std::string> values;
    for (const auto& [key, value] : parameters) {
        if (key == name) {
            values.push_back(value);
        }
    }
    return values;
}

const std::string& Request::Require(std::string_view name) const {
    for (const auto& [key, value] : parameters) {
        if (key == name && !value.empty()) {
            return value;
        }
    }
    throw RequestError(400, "The parameter '" + std::string(name) + "' is missing.");
}

std::optional<std::int64_t> Request::GetInteger(std::string_view name) const {
    const std::string_view text = Get(name);
    if (text.empty()) {
        return std::nullopt;
    }
    Poco::Int64 number = 0;
    // POCO's parser would accept a separator of thousands.
    if (!Poco::NumberParser::tryParse64(std::string(text), number, '\0')) {
        throw RequestError(400, "The parameter '" + std::string(name) + "' is not an integer.");
    }
    return number;
}

std::size_t Request::GetCount(std::string_view name, std::size_t defaultCount,
                              std::size_t maximum) const {
    const std::int64_t number = GetInteger(name).value_or(static_cast<std::int64_t>(defaultCount));
    if (number < 0) {
        throw RequestError(400, "The parameter '" + std::string(name) + "' is negative.");
    }
    return std::min(static_cast<std::size_t>(number), maximum);
}

void AppendParameters(std::string_view text, Request& request) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('&'), text.size());
        const std::string_view part = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (part.empty()) {
            continue;
        }
        if (request.parameters.size() == maxParameters) {
            throw RequestError(400, "The address has too many parameters.");
        }
        const std::size_t equals = std::min(part.find('='), part.size());
        request.parameters.emplace_back(Decode(part.substr(0, equals)),
                                        Decode(part.substr(std::min(equals + 1, part.size()))));
    }
}

}  // namespace velmora::inspector
