// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/export.h"
#include "exchange/fingerprint.h"
#include "exchange/type_description.h"

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>

namespace velmora::exchange {

/// The layouts that a reader knows, by fingerprint: those of the host, and those that peers have
/// described.
///
/// \threadsafety external
class EXCHANGE_API LayoutRegistry {
  public:
    /// \param maxDescribed the most descriptions that are kept, so that a peer cannot exhaust
    /// memory
    explicit LayoutRegistry(const DescriptionLimits& limits = {}, std::size_t maxDescribed = 1024);
    LayoutRegistry(const LayoutRegistry&) = delete;
    LayoutRegistry& operator=(const LayoutRegistry&) = delete;
    ~LayoutRegistry();

    /// Adds a type of the host, whose samples then need no description. It takes precedence over a
    /// description of the same layout.
    /// \param type \ownership observes: must outlive the registry and not change
    void Add(core::tessaryn::StreamType& type);

    /// Adds a described layout; a known one is not changed.
    /// \param fingerprint the description's fingerprint according to the sender
    /// \return \ownership lends: the type, until the registry is destroyed
    /// \throws ExchangeException when the description is malformed, has another fingerprint, or
    /// exceeds the number of descriptions
    core::tessaryn::StreamType& Learn(const Fingerprint& fingerprint, std::string_view description);

    /// The type of a layout, or null.
    /// \return \ownership lends: until the registry is destroyed
    core::tessaryn::StreamType* Find(const Fingerprint& fingerprint) const;

  private:
    DescriptionLimits limits;
    std::size_t maxDescribed;
    std::unordered_map<Fingerprint, core::tessaryn::StreamType*> types;
    std::unordered_map<Fingerprint, std::unique_ptr<DescribedType>> described;
};

}  // namespace velmora::exchange
