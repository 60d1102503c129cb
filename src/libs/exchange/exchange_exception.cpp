// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/exchange_exception.h"

namespace velmora::exchange {

ExchangeException::ExchangeException(const std::string& message) : BaseException(message) {}

ExchangeException::~ExchangeException() = default;

}  // namespace velmora::exchange
