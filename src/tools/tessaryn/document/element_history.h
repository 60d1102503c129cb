// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"
#include "tessaryn/sample.h"
#include "text/value_text.h"

#include <cstddef>
#include <string>
#include <vector>

namespace velmora::tool {

/// Values of one element of an entry over time.
struct ElementHistory {
    // Formatted values; empty where no sample has such a value.
    std::string minimum;
    std::string maximum;
    std::string last;
    /// Means of consecutive parts of about the same number of values; NaN for a part without finite
    /// values.
    std::vector<double> means;
};

/// Summarises one element. Samples without it are ignored; NaN is neither minimum nor maximum.
/// \param samples in the order of their times, all of one stream type
/// \param entry an entry that is not a `String`
/// \param type the entry's type
/// \param parts number of means, if there are as many values
ElementHistory GetElementHistory(const std::vector<core::tessaryn::Sample*>& samples,
                                 unsigned short entry, unsigned int index,
                                 core::tessaryn::BaseType type, ValueForm form, std::size_t parts);

/// A bar chart of one line: a character for each mean, a blank for NaN.
/// \param unicode whether to use block characters instead of ASCII
std::string MakeSparkline(const std::vector<double>& means, bool unicode);

/// Whether the locale of the environment, if there is one, is UTF-8.
bool IsLocaleUtf8();

}  // namespace velmora::tool
