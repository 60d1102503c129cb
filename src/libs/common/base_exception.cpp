// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "common/base_exception.h"

BaseException::BaseException(const std::string& message) : std::runtime_error(message) {}

// Out of line, so that the type information has one home and handlers match in every image.
BaseException::~BaseException() = default;
