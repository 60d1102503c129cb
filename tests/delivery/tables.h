// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::test {

/// The rows of a table in the folder data, without the header; cells are not quoted.
inline std::vector<std::vector<std::string>> ReadTable(const std::string& path) {
    std::ifstream file(path);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    std::vector<std::vector<std::string>> rows;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) {
        std::istringstream cells(line);
        rows.emplace_back();
        for (std::string cell; std::getline(cells, cell, ',');) {
            rows.back().push_back(cell);
        }
    }
    return rows;
}

/// The numbers of a cell, separated by blanks.
inline std::vector<double> Numbers(const std::string& cell) {
    std::istringstream words(cell);
    std::vector<double> numbers;
    for (std::string word; words >> word;) {
        numbers.push_back(std::strtod(word.c_str(), nullptr));
    }
    return numbers;
}

inline double Number(const std::string& cell) {
    return std::strtod(cell.c_str(), nullptr);
}

}  // namespace velmora::test
