// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/export.h"

#include <stdexcept>
#include <string>

/// The root of every exception that this product's libraries define.
///
/// Catching it, or `std::runtime_error`, catches them all; standard exceptions and Poco's pass
/// beside it.
///
/// \threadsafety immutable
struct VELMORA_COMMON_API BaseException : public std::runtime_error {
    /// \param message the text of `what()`
    explicit BaseException(const std::string& message);
    BaseException(const BaseException&) = default;             ///< copies
    BaseException& operator=(const BaseException&) = default;  ///< copies
    ~BaseException() override;
};
