// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/field.h"
#include "tessaryn/sample.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace velmora::tool {

/// The value of an entry that is one number or one text.
struct PlainValue {
    enum class Kind : unsigned char { decimal, integer, text };

    Kind kind = Kind::text;
    bool isMissing = false;
    /// Of a decimal or an integer.
    std::uint64_t bits = 0;
    std::string_view text{};
};

/// Writes plain values into samples, which takes a third of the time that reading them from the
/// binary form does. What is known of a type is kept as long as its samples come.
class SampleFields {
  public:
    /// \param values of all entries, in their order
    /// \return false when the sample has another number of elements than an entry has values, or is
    /// of one type of many: then the sample has to be read from the binary form
    bool Write(core::tessaryn::Sample& sample, const std::vector<PlainValue>& values);

  private:
    using Field = std::variant<core::tessaryn::Field<double>, core::tessaryn::Field<long long>,
                               core::tessaryn::Field<std::string>>;

    struct Binding {
        /// Of the state of the type.
        std::uint64_t layout = 0;
        std::vector<Field> fields;
    };

    const Binding* FindBinding(const core::tessaryn::StreamType& type,
                               const std::vector<PlainValue>& values);

    std::vector<Binding> bindings;
    std::size_t latest = 0;
};

}  // namespace velmora::tool
