// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_writer_options.h"

#include <Poco/Timestamp.h>

#include <cstdint>

namespace velmora::storage {

class Catalogue;
class Database;

/// Deletes up to `maxRows` rows that exceed the limits, the oldest first. Must be called in a
/// transaction.
/// \return how many
std::uint64_t DeleteSurplus(const Database& database, const Catalogue& catalogue,
                            const HistoryRetention& limits, const Poco::Timestamp& now,
                            std::uint64_t maxRows);

}  // namespace velmora::storage
