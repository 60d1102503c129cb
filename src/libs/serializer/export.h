// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

/// \def VELMORA_SERIALIZER_API
/// Marks what the shared library velmora_serializer shows; everything else in it is hidden.
/// Exception classes and interfaces carry it too, so that they are one type in every image.
#define VELMORA_SERIALIZER_API __attribute__((visibility("default")))
