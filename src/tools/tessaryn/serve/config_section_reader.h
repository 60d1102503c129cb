// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/config_mistakes.h"
#include "serve/config_text.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace velmora::tool {

/// Reads the values of one section by key, and reports mistakes with their lines.
///
///     ConfigSectionReader reader(section, mistakes);
///     reader.Text("file", config.file).Required("file").Duration("every", config.interval);
///     reader.Finish();
class ConfigSectionReader {
  public:
    /// Sets the option from a value.
    /// \throws CommandError when the value is not valid
    using Setter = std::function<void(const ConfigValue&)>;

    /// \param section \ownership observes
    /// \param mistakes \ownership observes
    ConfigSectionReader(const ConfigSection& section, ConfigMistakes& mistakes)
        : section(section), mistakes(mistakes) {}

    ConfigSectionReader& Add(const std::string& key, Setter setter);
    /// Adds a key that needs one text, not a list.
    ConfigSectionReader& Single(const std::string& key,
                                std::function<void(const std::string&)> setter);
    ConfigSectionReader& Text(const std::string& key, std::string& to);
    /// A list, or one text.
    ConfigSectionReader& Texts(const std::string& key, std::vector<std::string>& to);
    ConfigSectionReader& Flag(const std::string& key, bool& to);
    ConfigSectionReader& Duration(const std::string& key, std::chrono::microseconds& to);
    /// A number of bytes such as 500MB or 2GiB.
    ConfigSectionReader& Bytes(const std::string& key, std::uint64_t& to);
    ConfigSectionReader& Factor(const std::string& key, double& to);
    template <class T>
    ConfigSectionReader& Number(const std::string& key, T& to, std::uint64_t min,
                                std::uint64_t max) {
        return Single(key, [&to, key, min, max](const std::string& text) {
            to = static_cast<T>(ParseNumber(key, text, min, max));
        });
    }
    ConfigSectionReader& Required(const std::string& key);

    /// Reads the section.
    void Finish();

    /// The line of a key; that of the section if it has no such key.
    std::size_t GetLine(const std::string& key) const;

  private:
    static std::uint64_t ParseNumber(const std::string& key, const std::string& text,
                                     std::uint64_t min, std::uint64_t max);
    void Set(const ConfigValue& value);

    const ConfigSection& section;
    ConfigMistakes& mistakes;
    std::map<std::string, Setter> setters;
    std::vector<std::string> required;
    std::map<std::string, std::size_t> lines;
};

}  // namespace velmora::tool
