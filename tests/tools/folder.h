// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::tool {

/// A folder that is there, with its files, as long as the object.
class Folder {
  public:
    Folder() : path((std::filesystem::temp_directory_path() / "tessaryn-XXXXXX").string()) {
        if (mkdtemp(path.data()) == nullptr)
            throw std::runtime_error("there is no folder for the test's files");
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    std::string PathOf(const std::string& name) const { return path + "/" + name; }

    std::string Write(const std::string& name, const std::string& text) const {
        std::ofstream(PathOf(name), std::ios::binary) << text;
        return PathOf(name);
    }

    std::string Read(const std::string& name) const {
        std::ifstream file(PathOf(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// The names of all that is in it.
    std::vector<std::string> List() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    std::string path;
};

/// A text with each occurrence of a part replaced.
inline std::string Replaced(std::string text, const std::string& part, const std::string& by) {
    for (std::size_t at = text.find(part); at != std::string::npos;
         at = text.find(part, at + by.size()))
        text.replace(at, part.size(), by);
    return text;
}

}  // namespace velmora::tool
