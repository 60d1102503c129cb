// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

/// \def EXCHANGE_API
/// Marks what the shared library velmora_exchange shows; everything else in it is hidden.
#define EXCHANGE_API __attribute__((visibility("default")))
