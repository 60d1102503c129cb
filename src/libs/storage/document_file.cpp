// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/document_file.h"

#include "serializer/json_format.h"
#include "serializer/xml_format.h"
#include "storage/document_io.h"

#include <Poco/String.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <sys/stat.h>

namespace velmora::storage {

namespace ser = core::serialization;

namespace {

bool EndsWith(const std::string& path, std::string_view ending) {
    return path.size() > ending.size() &&
           Poco::icompare(path, path.size() - ending.size(), ending.size(), ending.data()) == 0;
}

[[noreturn]] void FailReading(const std::string& path, int error) {
    throw StorageException(path, "cannot read " + path + ": " + std::strerror(error));
}

}  // namespace

bool IsJson(const std::string& path) {
    if (!IsDocumentPath(path)) {
        throw StorageException(path, "'" + path + "' does not end in .xml or .json");
    }
    return EndsWith(path, ".json");
}

std::ifstream OpenFile(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        FailReading(path, errno);
    }
    if (S_ISDIR(status.st_mode)) {
        FailReading(path, EISDIR);
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        FailReading(path, errno);
    }
    return in;
}

bool IsDocumentPath(const std::string& path) {
    return EndsWith(path, ".json") || EndsWith(path, ".xml");
}

ser::NodeTree LoadTree(const std::string& path, const ser::ReadLimits& limits) {
    return ReadFile(path, [&](std::istream& in, bool json) {
        return json ? ser::ReadJson(in, limits) : ser::ReadXml(in, limits);
    });
}

void SaveTree(const std::string& path, const ser::NodeTree& tree) {
    WriteFile(path, [&](std::ostream& out, bool json) {
        json ? ser::WriteJson(tree, out) : ser::WriteXml(tree, out);
    });
}

}  // namespace velmora::storage
