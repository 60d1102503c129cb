// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "remote/nats_address.h"

#include "command_error.h"
#include "text/escaped_text.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

namespace velmora::tool {

namespace {

constexpr std::array<std::string_view, 2> schemes = {"nats://", "tls://"};

// The scheme at the beginning of the text, such as "nats://"; empty if there is none.
std::string_view GetScheme(std::string_view text) {
    const auto* const found =
        std::find_if(schemes.begin(), schemes.end(),
                     [&](std::string_view scheme) { return text.starts_with(scheme); });
    return found == schemes.end() ? std::string_view() : *found;
}

bool IsHostCharacter(char c) {
    return Poco::Ascii::isAlphaNumeric(static_cast<unsigned char>(c)) || c == '-' || c == '.' ||
           c == '_';
}

void CheckServer(std::string_view server) {
    const bool isBracketed = server.starts_with('[');
    const std::size_t end = isBracketed ? server.find(']') + 1 : server.find(':');
    const std::string_view host = server.substr(0, end);
    const bool isHost =
        isBracketed ? end > 2
                    : !host.empty() && std::all_of(host.begin(), host.end(), IsHostCharacter);
    if (!isHost) {
        throw CommandError("the URL of the NATS server has the host " + Quoted(host) +
                           ", not one such as nats://10.0.0.1:4222 has");
    }
    if (host.size() == server.size()) {
        return;
    }
    const std::string_view port = server.substr(host.size() + 1);
    std::uint16_t number = 0;
    const auto [last, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (server[host.size()] != ':' || error != std::errc() || last != port.data() + port.size() ||
        number == 0) {
        throw CommandError("the NATS server " + Quoted(host) + " has the port " + Quoted(port) +
                           ", not a number from 1 to 65535");
    }
}

bool IsSubjectCharacter(char c) {
    return Poco::Ascii::isAlphaNumeric(static_cast<unsigned char>(c)) || c == '-' || c == '_' ||
           c == '=';
}

// Replaces a character that is not allowed.
std::string DescribeInstead(char c) {
    switch (c) {
        case '>':
            return "; it stands alone, at the end";
        case '*':
            return "; it stands alone";
        case '/':
            return "; \".\" separates the names";
        default:
            return "; =HH stands for it, its byte in hexadecimal digits";
    }
}

void CheckSubject(const std::string& subject) {
    for (std::size_t begin = 0; begin <= subject.size();) {
        const std::size_t end = std::min(subject.find('.', begin), subject.size());
        const std::string_view name = std::string_view(subject).substr(begin, end - begin);
        const bool isWildcard = name == "*" || (name == ">" && end == subject.size());
        const auto* const bad = std::find_if_not(name.begin(), name.end(), IsSubjectCharacter);
        if (name.empty() || (!isWildcard && bad != name.end())) {
            const std::string what = name.empty() ? "an empty name" : Quoted({bad, 1});
            const auto column = begin + static_cast<std::size_t>(bad - name.begin()) + 1;
            throw CommandError("the NATS subject " + Quoted(subject) + " has " + what +
                               " in column " + std::to_string(column) +
                               (name.empty() ? "" : DescribeInstead(*bad)));
        }
        begin = end + 1;
    }
}

}  // namespace

bool IsNatsAddress(std::string_view text) {
    return !GetScheme(text).empty();
}

NatsAddress ParseNatsAddress(std::string_view text) {
    NatsAddress address;
    const auto isBlank = [](char c) { return static_cast<unsigned char>(c) <= ' '; };
    const std::size_t lastAt = text.rfind('@');
    const std::string scheme(GetScheme(text));
    for (bool isMore = true; isMore;) {
        const std::string_view own = GetScheme(text);
        text.remove_prefix(own.size());
        const std::size_t end = std::min(text.find_first_of(",/"), text.size());
        std::string_view server = text.substr(0, end);
        const bool isLast = end == text.size() || text[end] == '/';
        const std::string_view rest = text.substr(end);
        if (lastAt != std::string_view::npos &&
            (std::any_of(server.begin(), server.end(), isBlank) ||
             (isLast && rest.find('@') != std::string_view::npos))) {
            throw CommandError(
                "the URL of the NATS server has a user or a password with a slash, a comma or a "
                "blank, which it cannot have; --nats-creds names a file instead");
        }
        if (!address.urls.empty()) {
            address.urls += ',';
            address.shown += ',';
        }
        const std::string_view prefix = own.empty() ? std::string_view(scheme) : own;
        address.urls.append(prefix).append(server);
        if (const std::size_t at = server.rfind('@'); at != std::string_view::npos) {
            server.remove_prefix(at + 1);
        }
        CheckServer(server);
        address.shown.append(prefix).append(server);
        isMore = !isLast;
        text = rest.substr(std::min<std::size_t>(rest.size(), 1));
    }
    address.subject = text;
    if (!text.empty()) {
        CheckSubject(address.subject);
    }
    return address;
}

std::string WithoutCredentials(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        std::size_t begin = std::string_view::npos;
        for (const std::string_view scheme : schemes) {
            if (const std::size_t place = text.find(scheme); place != std::string_view::npos) {
                begin = std::min(begin, place + scheme.size());
            }
        }
        if (begin == std::string_view::npos) {
            break;
        }
        result += text.substr(0, begin);
        text.remove_prefix(begin);
        // Up to the next blank: further servers, with their own users, may follow a comma.
        const std::string_view url = text.substr(0, text.find_first_of(" \t\n"));
        if (const std::size_t at = url.rfind('@'); at != std::string_view::npos) {
            result += "***";
            text.remove_prefix(at);
        }
    }
    return result.append(text);
}

}  // namespace velmora::tool
