// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/base_exception.h"
#include "nats/export.h"

#include <string>

namespace velmora::nats {

/// A request to the server failed, or an option is not allowed.
///
/// The message has the failed action and the client library's reason, but no address and no
/// credentials.
///
/// \threadsafety immutable
class NATS_BRIDGE_API NatsException : public BaseException {
  public:
    explicit NatsException(const std::string& message);
    ~NatsException() override;
};

}  // namespace velmora::nats
