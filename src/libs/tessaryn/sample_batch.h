// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/field.h"
#include "tessaryn/sample.h"

#include <Poco/Timestamp.h>

#include <cstddef>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// Makes many samples with given times at once, without reading the clock: from columns, or
/// from binary forms. `Stream::PushMany` pushes them.
///
///     SampleBatch batch = MakeSamples(type, times);
///     SetColumn(batch, Field<double>(type, "temperature"), std::span(temperatures));
///     stream.PushMany(batch);

namespace velmora::core::tessaryn {

/// Samples that no stream has yet; null where a stream has taken one.
using SampleBatch = std::vector<std::unique_ptr<Sample>>;

/// One sample for each time, all elements zero.
/// \param type must outlive the samples
/// \param times microseconds since the Unix epoch, UTC; in any order
/// \throws std::length_error as `Sample`
/// \threadsafety external
TESSARYN_API SampleBatch MakeSamples(StreamType& type,
                                     std::span<const Poco::Timestamp::TimeVal> times);

/// One sample for each time, from their binary forms, one after another. Takes only bytes that
/// `CheckSample` accepts, of any size.
/// \param type must outlive the samples
/// \param bytes the binary forms of as many samples as there are times
/// \throws std::invalid_argument, naming the sample by its number from 0, when bytes are not those
/// of a sample, or there are bytes of more samples
/// \threadsafety external
TESSARYN_API SampleBatch DecodeSamples(StreamType& type,
                                       std::span<const Poco::Timestamp::TimeVal> times,
                                       std::string_view bytes);

/// Sets one element of each sample to the value in its row. Times stay.
/// \param values as many as there are samples, none of which is null
/// \throws std::invalid_argument when there are more or fewer; the samples are as they were
/// \throws std::invalid_argument, std::out_of_range as `Field`; the samples before are set
/// \threadsafety external
template <SampleNumber T>
void SetColumn(const SampleBatch& batch, const Field<T>& field,
               std::type_identity_t<std::span<const T>> values, unsigned int index = 0) {
    if (values.size() != batch.size()) {
        throw std::invalid_argument("A column of " + std::to_string(values.size()) +
                                    " values does not fit " + std::to_string(batch.size()) +
                                    " samples.");
    }
    for (std::size_t row = 0; row < batch.size(); ++row) {
        field.SetKeepingTime(*batch[row], index, values[row]);
    }
}

}  // namespace velmora::core::tessaryn
