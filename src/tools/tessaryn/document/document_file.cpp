// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/document_file.h"

#include "command_error.h"
#include "document/file_replacement.h"
#include "serializer/json_format.h"
#include "serializer/serialization_exception.h"
#include "serializer/xml_format.h"
#include "text/escaped_text.h"

#include <Poco/String.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

namespace velmora::tool {

namespace ser = core::serialization;

namespace {

bool EndsWith(const std::string& path, const std::string& ending) {
    return path.size() > ending.size() &&
           Poco::icompare(path, path.size() - ending.size(), ending.size(), ending) == 0;
}

// Whether the format is JSON; otherwise it is XML.
bool IsJson(const std::string& path) {
    const bool json = EndsWith(path, ".json");
    if (!json && !EndsWith(path, ".xml")) {
        throw CommandError(Quoted(path) + " does not end in .xml or .json");
    }
    return json;
}

[[noreturn]] void FailReading(const std::string& path, int error) {
    throw CommandError("cannot read " + path + ": " + std::strerror(error));
}

}  // namespace

void CheckEnding(const std::string& path) {
    static_cast<void>(IsJson(path));
}

void CheckWritable(const std::string& path) {
    CheckEnding(path);
    const FileReplacement attempt(path);
}

ser::NodeTree ReadTree(const std::string& path, std::uint64_t maxMemory) {
    const bool json = IsJson(path);
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
    try {
        ser::ReadLimits limits;
        limits.maxMemory = maxMemory;
        return json ? ser::ReadJson(in, limits) : ser::ReadXml(in, limits);
    } catch (const ser::SerializationException& error) {
        throw CommandError(path + ": " + error.what());
    }
}

void WriteTree(const ser::NodeTree& tree, const std::string& path) {
    const bool json = IsJson(path);
    FileReplacement file(path);
    try {
        if (json) {
            ser::WriteJson(tree, file.GetStream());
        } else {
            ser::WriteXml(tree, file.GetStream());
        }
    } catch (const ser::SerializationException& error) {
        // If the file failed, Commit reports that instead.
        if (file.GetStream()) {
            throw CommandError(path + ": " + error.what());
        }
    }
    file.Commit();
}

}  // namespace velmora::tool
