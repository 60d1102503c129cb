// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/export.h"

#include <string>
#include <string_view>

/// \file
/// A one-to-one mapping of stream paths to subjects: `plant/line 1/tank` is
/// `plant.line=201.tank`. Letters, digits, `-` and `_` stand for themselves, each other byte is
/// written as `=` and two hexadecimal digits in upper case; an empty name is a lone `=`.

namespace velmora::nats {

/// The subject of a path.
/// \param separator splits the path into names
/// \threadsafety immutable
NATS_BRIDGE_API std::string ToSubject(std::string_view path, char separator);

/// The path of a subject.
/// \param separator joins the names
/// \throws std::invalid_argument when the subject is not that of a path
/// \threadsafety immutable
NATS_BRIDGE_API std::string ToPath(std::string_view subject, char separator);

/// The subject of a pattern such as `plant/*/tank` or `plant/>`, whose wildcards work as in NATS.
/// \threadsafety immutable
NATS_BRIDGE_API std::string ToSubjects(std::string_view pattern, char separator);

/// The subject of a layout's description, which is never that of a path.
/// \param jetStream the name of the JetStream stream
/// \param fingerprint its hexadecimal digits
/// \threadsafety immutable
NATS_BRIDGE_API std::string ToTypeSubject(std::string_view jetStream, std::string_view fingerprint);

}  // namespace velmora::nats
