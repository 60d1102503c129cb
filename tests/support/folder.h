// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

namespace velmora::test {

/// A folder that is there, with its files, as long as the object.
class Folder {
  public:
    Folder() = default;
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    const std::string& GetPath() const { return path; }
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
        for (const auto& entry : std::filesystem::directory_iterator(path)) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    // A name of its own: those that are made of the process's number may be taken by what a process
    // of the same number left behind.
    static std::string Make() {
        std::string name = std::filesystem::temp_directory_path() / "velmora-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        return name;
    }

    const std::string path = Make();
};

}  // namespace velmora::test
