// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/answer.h"
#include "inspector/event_hub.h"
#include "inspector/host_metrics.h"
#include "inspector/model.h"

namespace velmora::inspector {

/// The metrics in the text form of Prometheus, see docs/inspector.md.
Answer WriteMetrics(const Model& model, const HostMetrics& host, const EventHub& events);

}  // namespace velmora::inspector
