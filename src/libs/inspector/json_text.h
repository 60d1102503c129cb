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
    /// Beyond 2^53, which numbers of JavaScript don't hold, as a text.
    JsonText& Integer(std::int64_t value);
    JsonText& Unsigned(std::uint64_t value);
    /// As short as gives the same number; null for what is not finite.
    JsonText& Number(double value);
    JsonText& Number(float value);
    /// A value that is JSON already.
    JsonText& Raw(std::string_view json);

    /// What has been written so far, in bytes.
    std::size_t GetSize() const;
    /// The text. Nothing may be written any more.
    std::string Take() const;

  private:
    struct Writer;
    std::unique_ptr<Writer> writer;
};

/// A text without bytes that are not UTF-8, cut after so many bytes.
std::string CleanText(std::string_view text, std::size_t maxBytes = std::string_view::npos);

}  // namespace velmora::inspector
