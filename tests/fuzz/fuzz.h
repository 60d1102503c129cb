// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/choices.h"

#include <cstddef>
#include <string_view>

namespace velmora::test {

/// Decisions from the bytes of a fuzzer. After the last byte each is the largest number, with which
/// every model ends.
class ByteChoices : public Choices {
  public:
    explicit ByteChoices(std::string_view source) : bytes(source) {}

    unsigned Below(unsigned limit) override {
        if (bytes.empty()) {
            return limit - 1;
        }
        const auto byte = static_cast<unsigned char>(bytes.front());
        bytes.remove_prefix(1);
        return byte % limit;
    }
    bool Done() const { return bytes.empty(); }
    /// Takes up to `count` bytes out.
    std::string_view Take(std::size_t count) {
        const std::string_view taken = bytes.substr(0, count);
        bytes.remove_prefix(taken.size());
        return taken;
    }

  private:
    std::string_view bytes;
};

/// What a target does with one input. Failed assertions and escaping exceptions are findings.
void Fuzz(std::string_view input);

}  // namespace velmora::test
