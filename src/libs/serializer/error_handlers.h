// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"

#include <string>

namespace Poco {
class Logger;
}

namespace velmora::core::serialization {

/// A rule that a value broke.
struct BrokenRule {
    /// Why the value could not be read or written; empty if it could.
    std::string reason;
    /// The rule's description.
    std::string description;
    /// The node's position in its tree.
    std::string position;
};

/// Turns a broken rule into a `SerializationException`, optionally logged first.
///
/// \threadsafety immutable
/// \ownership observes the logger
class VELMORA_SERIALIZER_API ThrowErrorHandler {
  public:
    /// \param logWarning whether to log a warning before each throw
    /// \param target receives the warnings; must outlive the handler
    ThrowErrorHandler(bool logWarning, Poco::Logger& target) : log(logWarning), logger(&target) {}

    /// \throws SerializationException always: "Value at position 'P' broke rule 'R'.", followed by
    ///     " Reason: " and the reason unless that is empty
    [[noreturn]] void Handle(const BrokenRule& broken) const;

  private:
    bool log;
    Poco::Logger* logger;
};

/// A handler that throws, and first logs a warning if `log` is set.
///
/// \param logger must outlive the handler
inline ThrowErrorHandler Throw(bool log, Poco::Logger& logger) {
    return {log, logger};
}

}  // namespace velmora::core::serialization
