// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/base_exception.h"
#include "exchange/export.h"

#include <string>

namespace velmora::exchange {

/// Bytes of a peer are malformed, or two layouts have nothing in common.
///
/// \threadsafety immutable
class EXCHANGE_API ExchangeException : public BaseException {
  public:
    explicit ExchangeException(const std::string& message);
    ~ExchangeException() override;
};

}  // namespace velmora::exchange
