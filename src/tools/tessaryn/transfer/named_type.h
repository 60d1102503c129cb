// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/version.h"
#include "tessaryn/named_object.h"
#include "tessaryn/stream_type.h"

#include <string>

namespace velmora::tool {

/// A stream type that has a name without being in a repository.
class NamedType : private core::INamedObject {
  public:
    NamedType(const std::string& name, const utils::Version& version)
        : fullName(name), type(version, this) {}
    NamedType(const NamedType&) = delete;
    NamedType& operator=(const NamedType&) = delete;

    core::tessaryn::StreamType& Get() { return type; }

  private:
    std::string GetName() const override { return fullName.substr(fullName.rfind('.') + 1); }
    std::string GetFullName() const override { return fullName; }

    std::string fullName;
    core::tessaryn::StreamType type;
};

}  // namespace velmora::tool
