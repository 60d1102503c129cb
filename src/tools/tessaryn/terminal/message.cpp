// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/message.h"

#include "remote/nats_address.h"
#include "text/escaped_text.h"

#include <cstdio>

namespace velmora::tool {

namespace {

constexpr std::size_t maxLength = 2000;
constexpr std::size_t lengthOfHalf = maxLength / 2 - 50;

}  // namespace

void PrintMessage(std::string_view prefix, std::string_view text) {
    const std::string message = WithoutCredentials(text);
    std::string line = "tessaryn: ";
    line += prefix;
    if (message.size() <= maxLength) {
        AppendEscaped(line, message);
    } else {
        AppendEscaped(line, std::string_view(message).substr(0, lengthOfHalf));
        line += "[... " + std::to_string(message.size() - 2 * lengthOfHalf) + " bytes ...]";
        AppendEscaped(line, std::string_view(message).substr(message.size() - lengthOfHalf));
    }
    line += '\n';
    std::fputs(line.c_str(), stderr);
}

std::string Counted(unsigned long long number, const std::string& noun, const std::string& plural) {
    const std::string several = plural.empty() ? noun + "s" : plural;
    return std::to_string(number) + " " + (number == 1 ? noun : several);
}

}  // namespace velmora::tool
