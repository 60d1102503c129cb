// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/answer.h"
#include "inspector/model.h"
#include "inspector/request.h"

namespace velmora::inspector {

/// The minimum and the maximum of intervals of time, see docs/inspector.md.
/// \throws RequestError, storage::HistoryException
Answer DrawChart(const Model& model, const Request& request);

/// What is wrong with a rule, see docs/inspector.md.
/// \throws RequestError
Answer CheckClientRule(const Model& model, const Request& request);

}  // namespace velmora::inspector
