// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_names.h"

#include "tessaryn/stream_type.h"

#include <Poco/Ascii.h>

#include <algorithm>

namespace velmora::core::tessaryn {

namespace {

bool IsNameCharacter(char c) {
    return Poco::Ascii::isAlphaNumeric(c) || c == '_';
}

}  // namespace

bool IsRuleName(std::string_view text) {
    return !text.empty() && !Poco::Ascii::isDigit(text.front()) &&
           std::all_of(text.begin(), text.end(), IsNameCharacter);
}

std::vector<std::string> FindEntriesWithoutRuleName(const StreamType& type) {
    std::vector<std::string> names = type.GetEntryNames();
    std::erase_if(names, IsRuleName);
    return names;
}

}  // namespace velmora::core::tessaryn
