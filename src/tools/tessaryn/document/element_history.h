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

/// How one element of an entry went over some samples.
struct ElementHistory {
    // Texts of values; empty where no sample has a number for the element.
    std::string least;
    std::string greatest;
    std::string last;
    /// The means of as many parts of the course as were asked for, or one for each value where
    /// these are fewer; NaN for a part without finite numbers.
    std::vector<double> means;
};

/// Follows one element over samples in the order of their times. Samples with fewer elements, and
/// NaN as least and greatest, are left out.
/// \param samples all of one stream type
/// \param entry an entry that is no `String`
/// \param index the element
/// \param type the entry's type
/// \param form how the values are written
/// \param parts into how many parts the course is divided, at most
ElementHistory GetElementHistory(const std::vector<core::tessaryn::Sample*>& samples,
                                 unsigned short entry, unsigned int index,
                                 core::tessaryn::BaseType type, ValueForm form, std::size_t parts);

/// A character for each mean, the taller the greater; a blank for NaN.
/// \param means the means
/// \param unicode whether to use block characters, else what ASCII has
std::string Sparkline(const std::vector<double>& means, bool unicode);

/// Whether the environment's locale, if it names one, can show more than ASCII.
bool LocaleHasUnicode();

}  // namespace velmora::tool
