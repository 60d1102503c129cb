// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/nats_exception.h"

namespace velmora::nats {

NatsException::NatsException(const std::string& message) : BaseException(message) {}

NatsException::~NatsException() = default;

}  // namespace velmora::nats
