// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/field.h"
#include "tessaryn/stream.h"

#include <Poco/Timestamp.h>

#include <cstddef>
#include <vector>

namespace velmora::core::tessaryn {

/// Reads the first element of an entry from each sample that is stamped at `since` or later, under
/// the stream's lock. The sample that was pushed first is in front.
/// \param out receives the values; its memory is reused
/// \param times receives the samples' times, in microseconds since the Unix epoch; may be null
/// \ownership observes
/// \throws std::out_of_range when a sample has no element, std::invalid_argument when the field is
/// one of another stream type; the contents of the arrays are then unspecified
/// \threadsafety guarded
template <SampleNumber T>
void Column(const Stream& stream, const Field<T>& field, const Poco::Timestamp& since,
            std::vector<T>& out, std::vector<Poco::Timestamp::TimeVal>* times = nullptr) {
    stream.GetSinceInPushOrder(since, [&](const std::vector<Sample*>& samples) {
        out.resize(samples.size());
        if (times != nullptr) {
            times->resize(samples.size());
        }
        for (std::size_t i = 0; i < samples.size(); ++i) {
            out[i] = field(*samples[i]);
            if (times != nullptr) {
                (*times)[i] = Field<T>::TimeOf(*samples[i]);
            }
        }
    });
}

/// As above, for the entry of an id.
/// \param times receives the samples' times; may be null \ownership observes
/// \throws std::out_of_range, TypeMismatchException as `Field`
/// \threadsafety guarded
template <SampleNumber T>
void Column(const Stream& stream, unsigned short entry, const Poco::Timestamp& since,
            std::vector<T>& out, std::vector<Poco::Timestamp::TimeVal>* times = nullptr) {
    Column(stream, Field<T>(*stream.GetStreamType(), entry), since, out, times);
}

}  // namespace velmora::core::tessaryn
