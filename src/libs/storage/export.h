// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

/// \def STORAGE_API
/// Marks what the shared library velmora_storage shows; everything else in it is hidden.
#define STORAGE_API __attribute__((visibility("default")))
