// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "pybind.h"
#include "stream_handle.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace velmora::core::tessaryn {
class ISubscriptionRule;
}

namespace velmora::python {

/// Selects samples of a stream.
struct Selection {
    /// The first and the last time, in microseconds since the Unix epoch.
    std::optional<std::int64_t> since;
    std::optional<std::int64_t> until;
    /// A rule that the samples satisfy, as if each were pushed, or null. \ownership observes
    const core::tessaryn::ISubscriptionRule* rule = nullptr;
};

/// The samples as a `tessaryn.Columns`, in order of time; those of equal times in the order of
/// pushing.
py::object ReadColumns(const StreamHandle& stream, const Selection& selection);

}  // namespace velmora::python
