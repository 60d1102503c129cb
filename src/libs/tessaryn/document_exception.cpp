// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/document_exception.h"

namespace velmora::core::tessaryn {

DocumentException::DocumentException(const std::string& position, const std::string& message)
    : BaseException(message), position(position) {}

}  // namespace velmora::core::tessaryn
