// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

namespace velmora::test {

/// Where a model takes its decisions from: a random engine, or the bytes of a fuzzer.
class Choices {
  public:
    Choices() = default;
    Choices(const Choices&) = delete;
    Choices& operator=(const Choices&) = delete;
    virtual ~Choices() = default;

    /// A number from 0 to one less than `limit`.
    virtual unsigned Below(unsigned limit) = 0;
};

}  // namespace velmora::test
