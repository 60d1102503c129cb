// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

/// \def INSPECTOR_API
/// Marks what the shared library velmora_inspector shows; everything else in it is hidden.
#define INSPECTOR_API __attribute__((visibility("default")))
