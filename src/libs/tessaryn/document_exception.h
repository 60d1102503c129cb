// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/base_exception.h"
#include "tessaryn/export.h"

#include <string>

namespace velmora::core::tessaryn {

/// A node of a document cannot be read.
///
/// The message names the node: "/Stream/Samples/Sample[2]: Entry with name ...".
class TESSARYN_API DocumentException : public BaseException {
  public:
    DocumentException(const std::string& position, const std::string& message);

    /// The position of the type collection, stream or sample that could not be read.
    const std::string& GetPosition() const { return position; }

  private:
    std::string position;
};

}  // namespace velmora::core::tessaryn
