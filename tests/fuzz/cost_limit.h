// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

namespace velmora::test {

/// While it lives, one operation must stay within a cost in proportion to the size of its input:
/// the bytes that it allocates altogether, which measure its work independently of the machine's
/// load, and the CPU time. Exceeding either is a failed assertion.
///
/// The fuzzer sees costs as it sees coverage: it keeps and mutates the inputs that cost more for
/// their size than others. One limit at a time.
class CostLimit {
  public:
    /// \param operation names the operation in a failure
    /// \param inputSize bytes of the input, and of what the input legitimately asks for
    /// \param bytesPerByte how many bytes may be allocated for each byte of the input
    CostLimit(const char* operation, std::size_t inputSize, unsigned bytesPerByte);
    CostLimit(const CostLimit&) = delete;
    CostLimit& operator=(const CostLimit&) = delete;
    ~CostLimit();

  private:
    const char* operation;
    std::size_t inputSize;
    unsigned bytesPerByte;
    std::clock_t start;
};

}  // namespace velmora::test
