// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/config_section_reader.h"

#include "command_error.h"
#include "text/escaped_text.h"
#include "text/nearest.h"
#include "text/time_text.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>
#include <utility>

namespace velmora::tool {

namespace {

// "[rule.warm]", for messages.
std::string NameOf(const ConfigSection& section) {
    if (section.kind.empty()) {
        return "the part above the first section";
    }
    return "[" + section.kind + (section.name.empty() ? "" : "." + section.name) + "]";
}

}  // namespace

ConfigSectionReader& ConfigSectionReader::Add(const std::string& key, Setter setter) {
    setters[key] = std::move(setter);
    return *this;
}

ConfigSectionReader& ConfigSectionReader::Single(const std::string& key,
                                                 std::function<void(const std::string&)> setter) {
    return Add(key, [key, setter = std::move(setter)](const ConfigValue& value) {
        if (value.isList) {
            throw CommandError(key + " is one value, not a list");
        }
        if (value.texts.front().empty()) {
            throw CommandError(key + " is empty");
        }
        setter(value.texts.front());
    });
}

ConfigSectionReader& ConfigSectionReader::Text(const std::string& key, std::string& to) {
    return Single(key, [&to](const std::string& text) { to = text; });
}

ConfigSectionReader& ConfigSectionReader::Texts(const std::string& key,
                                                std::vector<std::string>& to) {
    return Add(key, [&to](const ConfigValue& value) { to = value.texts; });
}

ConfigSectionReader& ConfigSectionReader::Flag(const std::string& key, bool& to) {
    return Single(key, [&to, key](const std::string& text) {
        if (text != "true" && text != "false") {
            throw CommandError(key + " " + Quoted(text) + " is neither true nor false");
        }
        to = text == "true";
    });
}

ConfigSectionReader& ConfigSectionReader::Duration(const std::string& key,
                                                   std::chrono::microseconds& to) {
    return Single(key, [&to, key](const std::string& text) {
        const auto duration = ParseDuration(text);
        if (!duration) {
            throw CommandError(key + " " + Quoted(text) +
                               " is not a duration such as 250ms, 3s, 2m or 1h");
        }
        to = *duration;
    });
}

ConfigSectionReader& ConfigSectionReader::Bytes(const std::string& key, std::uint64_t& to) {
    return Single(key, [&to, key](const std::string& text) {
        std::string number = text;
        std::string reason;
        try {
            reason = CLI::AsSizeValue(false)(number);
        } catch (const CLI::ValidationError& error) {
            reason = error.what();
        }
        const char* const last = number.data() + number.size();
        const auto [end, error] = std::from_chars(number.data(), last, to);
        if (!reason.empty() || error != std::errc() || end != last || to == 0) {
            throw CommandError(key + " " + Quoted(text) +
                               " is not a number of bytes such as 500MB or 2GiB");
        }
    });
}

ConfigSectionReader& ConfigSectionReader::Factor(const std::string& key, double& to) {
    return Single(key, [&to, key](const std::string& text) {
        const char* const last = text.data() + text.size();
        const auto [end, error] = std::from_chars(text.data(), last, to);
        if (error != std::errc() || end != last || !(to > 0) || std::isinf(to)) {
            throw CommandError(key + " " + Quoted(text) + " is not a number above 0");
        }
    });
}

ConfigSectionReader& ConfigSectionReader::Required(const std::string& key) {
    required.push_back(key);
    return *this;
}

std::uint64_t ConfigSectionReader::ParseNumber(const std::string& key, const std::string& text,
                                               std::uint64_t min, std::uint64_t max) {
    std::uint64_t number = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, number);
    if (error != std::errc() || end != last || number < min || number > max) {
        throw CommandError(key + " " + Quoted(text) + " is not an integer from " +
                           std::to_string(min) + " to " + std::to_string(max));
    }
    return number;
}

void ConfigSectionReader::Set(const ConfigValue& value) {
    const auto [place, isNew] = lines.emplace(value.key, value.line);
    if (!isNew) {
        throw CommandError(value.key + " is in line " + std::to_string(place->second) + " already");
    }
    const auto setter = setters.find(value.key);
    if (setter == setters.end()) {
        std::vector<std::string> known;
        for (const auto& [key, ignored] : setters) {
            known.push_back(key);
        }
        throw CommandError(NameOf(section) + " has no key " + Quoted(value.key) +
                           SuggestNearest(value.key, known));
    }
    setter->second(value);
}

void ConfigSectionReader::Finish() {
    for (const ConfigValue& value : section.values) {
        try {
            Set(value);
        } catch (const CommandError& error) {
            mistakes.Add(value.line, error.what(), error.GetDetails());
        }
    }
    for (const std::string& key : required) {
        if (lines.count(key) == 0) {
            mistakes.Add(section.line, NameOf(section) + " needs " + key);
        }
    }
}

std::size_t ConfigSectionReader::GetLine(const std::string& key) const {
    const auto place = lines.find(key);
    return place == lines.end() ? section.line : place->second;
}

}  // namespace velmora::tool
