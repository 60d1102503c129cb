// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/escaped_text.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora::tool {
namespace {

TEST(EscapedText, EscapesControlCharacters) {
    const struct {
        const char* name;
        std::string text;
        std::string escaped;
        std::string json;
    } cases[] = {
        {"printable", "a \xC3\xA9\xE2\x82\xAC", "a \xC3\xA9\xE2\x82\xAC", "a \xC3\xA9\xE2\x82\xAC"},
        {"quotes", "a\"\\", "a\"\\", "a\\\"\\\\"},
        {"line ends", "\n\t\r", "\\n\\t\\r", "\\n\\t\\r"},
        {"C0 and DEL", std::string("\0\x1b\x7f", 3), "\\x00\\x1b\\x7f", "\\u0000\\u001b\\u007f"},
        {"C1", "\xC2\x80\xC2\x9B\xC2\xA0", "\\xc2\\x80\\xc2\\x9b\xC2\xA0",
         "\\u0080\\u009b\xC2\xA0"},
        {"bidirectional", "\xE2\x80\xAE\xE2\x81\xA6\xD8\x9C",
         "\\xe2\\x80\\xae\\xe2\\x81\\xa6\\xd8\\x9c", "\\u202e\\u2066\\u061c"},
        {"not UTF-8", "\xff\xC3(\xED\xA0\x80", "\\xff\\xc3(\\xed\\xa0\\x80",
         "\xEF\xBF\xBD\xEF\xBF\xBD(\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    };
    for (const auto& each : cases) {
        std::string escaped;
        AppendEscaped(escaped, each.text);
        EXPECT_EQ(escaped, each.escaped) << each.name;
        std::string json;
        AppendJsonString(json, each.text);
        EXPECT_EQ(json, '"' + each.json + '"') << each.name;
    }
}

}  // namespace
}  // namespace velmora::tool
