// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/answer.h"
#include "inspector/model.h"
#include "inspector/request.h"

namespace velmora::inspector {

/// \name Samples of a stream, see docs/inspector.md
/// \throws RequestError, storage::HistoryException
///@{
Answer ListSamples(const Model& model, const Request& request);
Answer DownloadSamples(const Model& model, const Request& request);
///@}

}  // namespace velmora::inspector
