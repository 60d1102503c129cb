// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace velmora::inspector {

/// Writes a JSON value. Texts are UTF-8; other bytes are replaced.
///
/// \threadsafety external
class JsonText {
  public:
    JsonText();
    JsonText(const JsonText&) = delete;
    JsonText& operator=(const JsonText&) = delete;
    ~JsonText();

    JsonText& BeginObject();
    JsonText& EndObject();
    JsonText& BeginArray();
    JsonText& EndArray();
    JsonText& Key(std::string_view name);
    JsonText& Text(std::string_view text);
    JsonText& Bool(bool value);
    JsonText& Null();
    /// Beyond ±2^53, where numbers of JavaScript are inexact, written as a text.
    JsonText& Integer(std::int64_t value);
    JsonText& Unsigned(std::uint64_t value);
    /// The shortest text that reads back as the same number; null for NaN and infinities.
    JsonText& Number(double value);
    JsonText& Number(float value);
    /// A value that is JSON already.
    JsonText& Raw(std::string_view json);

    /// What has been written so far, in bytes.
    std::size_t GetSize() const;
    /// The text. Must be the last call.
    std::string Take() const;

  private:
    struct Writer;
    std::unique_ptr<Writer> writer;
};

/// The text as valid UTF-8, cut to at most this many bytes.
std::string CleanText(std::string_view text, std::size_t maxBytes = std::string_view::npos);

}  // namespace velmora::inspector
