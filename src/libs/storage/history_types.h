// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/version.h"
#include "tessaryn/base_type.h"

#include <Poco/Timestamp.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// \file
/// What a history's catalogue lists.

namespace velmora::storage {

/// How a history is opened.
enum class HistoryMode : unsigned char {
    read,   ///< the file must be a history; nothing is written to it
    write,  ///< the file must be a history
    create  ///< as `write`; a file that is missing or empty becomes a history
};

/// An entry of a stream type, and the column that keeps it.
///
/// \threadsafety external
struct HistoryEntry {
    std::string name;
    core::tessaryn::BaseType type = core::tessaryn::UnknownType;
    unsigned int initialSize = 1;
    std::string column = {};  ///< the entry's name, unless SQLite does not accept it or it is taken
    std::string unit = {};    ///< such as "°C"; empty unless it was set
    std::string text = {};    ///< what the entry means; empty unless it was set
};

/// One type of a stream's samples, and the table that keeps them. A stream has a layout for each
/// type and version that its samples had.
///
/// \threadsafety external
struct HistoryLayout {
    std::int64_t id = 0;
    std::string typeName;  ///< the full name
    utils::Version version;
    std::vector<HistoryEntry> entries;
    std::string table;
    std::uint64_t rowCount = 0;
    /// The earliest and the latest time of the samples; none for an empty table.
    std::optional<Poco::Timestamp> oldest = {};
    std::optional<Poco::Timestamp> newest = {};
};

/// A stream of a history.
///
/// \threadsafety external
struct HistoryStream {
    std::int64_t id = 0;
    std::string path;
    std::string view;  ///< the path, unless SQLite does not accept it or it is taken
    std::string text;  ///< what the stream is; empty unless it was set
    std::vector<HistoryLayout> layouts = {};  ///< in the order in which their first samples arrived
};

}  // namespace velmora::storage
