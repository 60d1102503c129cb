// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"

#include <string>

namespace Poco {
class Logger;
}

namespace velmora::core::serialization {

/// A value that its rule refused.
struct BrokenRule {
    /// Why the value could not be read or written; empty where it could, or nobody said.
    std::string reason;
    /// The rule's description.
    std::string description;
    /// The node's position in its tree.
    std::string position;
};

/// Turns a broken rule into a `SerializationException`, logged first where that is wanted.
///
/// \threadsafety immutable
/// \ownership observes the logger
class VELMORA_SERIALIZER_API ThrowErrorHandler {
  public:
    /// \param warn whether to log a warning before each throw
    /// \param target receives the warnings; must outlive the handler
    ThrowErrorHandler(bool warn, Poco::Logger& target) : log(warn), logger(&target) {}

    /// Throws the exception that tells position, rule and reason.
    /// \param broken what was refused
    /// \throws SerializationException always: "Value at position 'P' broke rule 'R'.", followed by
    ///     " Reason: " and the reason unless that is empty
    [[noreturn]] void Handle(const BrokenRule& broken) const;

  private:
    bool log;
    Poco::Logger* logger;
};

/// A handler that throws, and logs before where `log` is set.
///
/// \param log whether to log a warning before each throw
/// \param logger must outlive the handler
inline ThrowErrorHandler Throw(bool log, Poco::Logger& logger) {
    return {log, logger};
}

}  // namespace velmora::core::serialization
