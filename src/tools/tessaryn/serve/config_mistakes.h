// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tool {

/// The mistakes of a configuration, each with its line.
class ConfigMistakes {
  public:
    explicit ConfigMistakes(std::string file) : file(std::move(file)) {}

    /// \param line from 1; 0 for the whole file
    /// \param details lines to print below the message, each ended by a line feed
    void Add(std::size_t line, std::string message, std::string details = {}) {
        mistakes.push_back({line, std::move(message), std::move(details)});
    }

    bool IsEmpty() const { return mistakes.empty(); }

    /// "file:line: message", in the order of the lines.
    std::vector<std::pair<std::string, std::string>> GetSentences() const {
        std::vector<Mistake> sorted = mistakes;
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const Mistake& a, const Mistake& b) { return a.line < b.line; });
        std::vector<std::pair<std::string, std::string>> sentences;
        for (const Mistake& each : sorted) {
            const std::string place = each.line == 0 ? "" : ":" + std::to_string(each.line);
            std::string sentence = file;
            sentence.append(place).append(": ").append(each.message);
            sentences.emplace_back(std::move(sentence), each.details);
        }
        return sentences;
    }

  private:
    struct Mistake {
        std::size_t line = 0;
        std::string message;
        std::string details;
    };

    std::string file;
    std::vector<Mistake> mistakes;
};

}  // namespace velmora::tool
