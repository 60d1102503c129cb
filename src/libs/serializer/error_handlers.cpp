// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/error_handlers.h"

#include "serializer/serialization_exception.h"

#include <Poco/Logger.h>
#include <Poco/Message.h>

namespace velmora::core::serialization {

namespace {

// The source position that log readers filter by. It stays the same when this code moves.
constexpr const char* logFile = "src/libs/serializer/error_handlers";
constexpr int logLine = 89;

}  // namespace

void ThrowErrorHandler::Handle(const BrokenRule& broken) const {
    std::string text =
        "Value at position '" + broken.position + "' broke rule '" + broken.description + "'.";
    if (!broken.reason.empty()) {
        text += " Reason: " + broken.reason;
    }
    if (log && logger->warning()) {
        // Not logger->warning(text), which would interpret a '%' in the text.
        logger->log(
            Poco::Message(logger->name(), text, Poco::Message::PRIO_WARNING, logFile, logLine));
    }
    throw SerializationException(text);
}

}  // namespace velmora::core::serialization
