// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/TemporaryFile.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace velmora::test {

/// A folder that is there, with its files, as long as the object.
class Folder {
  public:
    Folder() { folder.createDirectory(); }

    std::string PathOf(const std::string& name) const { return folder.path() + "/" + name; }

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
        folder.list(names);
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    Poco::TemporaryFile folder;
};

}  // namespace velmora::test
