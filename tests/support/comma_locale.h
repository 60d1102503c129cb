// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <locale>
#include <string>

namespace velmora::test {

/// While it lives, the process's locale writes numbers as "1.234,5".
class CommaLocale {
  public:
    CommaLocale() : former(std::locale::global(std::locale(std::locale::classic(), new Comma))) {}
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;
    ~CommaLocale() { std::locale::global(former); }

  private:
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };

    std::locale former;
};

}  // namespace velmora::test
