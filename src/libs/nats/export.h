// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

/// \def NATS_BRIDGE_API
/// Marks what the shared library velmora_nats shows; everything else in it is hidden.
#define NATS_BRIDGE_API __attribute__((visibility("default")))
