// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/answer.h"
#include "inspector/model.h"
#include "inspector/request.h"

#include <cstddef>

namespace velmora::inspector {

/// How many types there are, in all versions.
std::size_t CountTypes(const Model& model);

/// \name Answers in JSON, see docs/inspector.md
/// \throws RequestError
///@{
Answer ListChildren(const Model& model, const Request& request);
Answer FindStreams(const Model& model, const Request& request);
Answer ListTypes(const Model& model, const Request& request);
Answer DescribeStream(const Model& model, const Request& request);
Answer ListNewest(const Model& model, const Request& request);
///@}

}  // namespace velmora::inspector
