// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/access.h"

#include "inspector/request_error.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/IPAddress.h>
#include <Poco/Net/NameValueCollection.h>
#include <Poco/RandomStream.h>
#include <Poco/String.h>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace velmora::inspector {

namespace {

using Poco::Net::IPAddress;

constexpr std::size_t minTokenLength = 16;

// Takes the same time for all texts of one length, so that timing does not reveal how many
// characters match.
bool IsEqual(std::string_view given, std::string_view secret) {
    unsigned difference = given.size() == secret.size() ? 0U : 1U;
    for (std::size_t i = 0; i < given.size(); ++i) {
        difference |= static_cast<unsigned char>(given[i]) ^
                      static_cast<unsigned char>(secret[i % secret.size()]);
    }
    return difference == 0;
}

std::string MakeSession() {
    std::array<char, 32> bytes{};
    Poco::RandomInputStream random;
    random.read(bytes.data(), bytes.size());
    std::string text;
    for (const char byte : bytes) {
        constexpr std::string_view digits = "0123456789abcdef";
        text += digits[static_cast<unsigned char>(byte) >> 4U];
        text += digits[static_cast<unsigned char>(byte) & 15U];
    }
    return text;
}

// The name in "name:80", "[::1]:80" and the like, in lower case; empty if the text is malformed.
std::string HostName(const std::string& host) {
    std::string name = Poco::toLower(host);
    const std::size_t colon =
        name.find(':', name.find(']') == std::string::npos ? 0 : name.find(']'));
    if (colon != std::string::npos) {
        const std::string port = name.substr(colon + 1);
        if (port.empty() || port.size() > 5 ||
            !std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            return {};
        }
        name.resize(colon);
    }
    if (name.size() > 2 && name.front() == '[' && name.back() == ']') {
        name = name.substr(1, name.size() - 2);
    }
    return name;
}

std::string Cookie(const std::string& cookies, const std::string& name) {
    Poco::Net::NameValueCollection values;
    Poco::Net::HTTPRequest request;
    request.set("Cookie", cookies);
    request.getCookies(values);
    return values.get(name, "");
}

}  // namespace

bool IsLoopback(const std::string& address) {
    IPAddress parsed;
    if (!IPAddress::tryParse(address, parsed)) {
        throw std::invalid_argument("The address '" + address + "' is not an IP address.");
    }
    return parsed.isLoopback();
}

Access::Access(const InspectorOptions& options)
    : token(options.token),
      cookieName("velmora_inspector_" + std::to_string(options.port)),
      session(MakeSession()) {
    if (token.empty() && !IsLoopback(options.address)) {
        throw std::invalid_argument("The address '" + options.address +
                                    "' is not of the loopback, so a token is needed: the "
                                    "inspector shows all that the host's streams hold.");
    }
    if (!token.empty() &&
        (token.size() < minTokenLength ||
         !std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c < '\x7f'; }))) {
        throw std::invalid_argument(
            "The token must have at least 16 characters of printable ASCII, and no blank.");
    }
    for (const std::string& host : options.hosts) {
        hosts.push_back(Poco::toLower(host));
    }
}

void Access::CheckOrigin(const Request& request) const {
    const std::string name = HostName(request.host);
    if (name.empty() || !IsKnownHost(name, request.localAddress)) {
        throw RequestError(403, "This host name is not one of the inspector's.");
    }
    if (request.site == "cross-site" && request.path.starts_with("/api/")) {
        throw RequestError(403, "Pages of elsewhere may not ask.");
    }
    if (!request.origin.empty() && request.origin != "http://" + request.host &&
        request.origin != "https://" + request.host) {
        throw RequestError(403, "Pages of elsewhere may not ask.");
    }
}

// An attacker can make a name of their own resolve to any address, so unknown names are refused; an
// address needs no resolution.
bool Access::IsKnownHost(const std::string& name, const std::string& localAddress) const {
    // A dual-stack socket reports an IPv4 address in this form.
    constexpr std::string_view mapped = "::ffff:";
    const std::string plain =
        localAddress.substr(localAddress.starts_with(mapped) ? mapped.size() : 0);
    IPAddress address;
    IPAddress local;
    return name == "localhost" || std::find(hosts.begin(), hosts.end(), name) != hosts.end() ||
           (IPAddress::tryParse(name, address) && IPAddress::tryParse(plain, local) &&
            (address == local || (address.isLoopback() && local.isLoopback())));
}

bool Access::IsAllowed(const Request& request) const {
    return token.empty() || IsEqual(request.bearer, token) ||
           IsEqual(Cookie(request.cookies, cookieName), session);
}

Answer Access::LogIn(const Request& request) const {
    if (token.empty()) {
        return MakeRedirect("./");
    }
    if (!IsEqual(request.Get("token"), token)) {
        return MakeRedirect("login?wrong");
    }
    Answer answer = MakeRedirect("./");
    answer.headers.emplace_back("Set-Cookie",
                                cookieName + "=" + session + "; Path=/; HttpOnly; SameSite=Strict");
    return answer;
}

}  // namespace velmora::inspector
