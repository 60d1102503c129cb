// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/field.h"
#include "tessaryn/sample.h"

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace velmora::tool {

/// Writes the binary form of samples into samples that have the same sizes, entry by entry, which
/// takes a third of the time that reading the form does.
class SampleFields {
  public:
    /// \param bytes the binary form of a sample of the type
    /// \return false when an entry is no number or text that takes its place: then the sample has
    /// to be read from the entire form
    bool Write(core::tessaryn::Sample& sample, std::string_view bytes);

  private:
    using Field =
        std::variant<std::monostate, core::tessaryn::Field<double>,
                     core::tessaryn::Field<long long>, core::tessaryn::Field<std::string>>;

    void Bind(const core::tessaryn::StreamType& newType);

    const core::tessaryn::StreamType* type = nullptr;
    std::vector<Field> fields;
};

}  // namespace velmora::tool
