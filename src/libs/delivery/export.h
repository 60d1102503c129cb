// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

/// \def DELIVERY_API
/// Marks what the shared library velmora_delivery shows; everything else in it is hidden.
#define DELIVERY_API __attribute__((visibility("default")))
