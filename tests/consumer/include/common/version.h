// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

namespace host {

constexpr int version = 7;

}  // namespace host
