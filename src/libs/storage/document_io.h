// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/serialization_exception.h"
#include "storage/file_replacement.h"
#include "storage/storage_exception.h"

#include <fstream>
#include <string>

namespace velmora::storage {

/// Whether the format of a path is JSON; otherwise it is XML.
/// \throws StorageException when the path has another ending
bool IsJson(const std::string& path);

/// Opens a file, unless it is a folder.
/// \throws StorageException
std::ifstream OpenFile(const std::string& path);

/// Reads a file in the format of its ending.
/// \param read takes the stream and whether the format is JSON
/// \throws StorageException, what `read` throws of the serializer included
template <class Read>
auto ReadFile(const std::string& path, Read read) {
    const bool json = IsJson(path);
    std::ifstream in = OpenFile(path);
    try {
        return read(in, json);
    } catch (const core::serialization::SerializationException& error) {
        throw StorageException(path, path + ": " + error.what());
    }
}

/// Replaces a file in the format of its ending.
/// \param write takes the stream and whether the format is JSON
/// \throws StorageException, what `write` throws of the serializer included
template <class Write>
void WriteFile(const std::string& path, Write write) {
    const bool json = IsJson(path);
    FileReplacement file(path);
    try {
        write(file.GetStream(), json);
    } catch (const core::serialization::SerializationException& error) {
        // If the file failed, Commit reports that instead.
        if (file.GetStream()) {
            throw StorageException(path, path + ": " + error.what());
        }
    }
    file.Commit();
}

}  // namespace velmora::storage
