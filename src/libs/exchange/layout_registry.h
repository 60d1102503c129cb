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

/// The layouts that a reader knows, by fingerprint: those of the host, and those that it was told
/// by descriptions.
///
/// \threadsafety external
class EXCHANGE_API LayoutRegistry {
  public:
    /// \param maxDescribed descriptions kept; a peer cannot fill the memory with more
    explicit LayoutRegistry(const DescriptionLimits& limits = {}, std::size_t maxDescribed = 1024);
    LayoutRegistry(const LayoutRegistry&) = delete;
    LayoutRegistry& operator=(const LayoutRegistry&) = delete;
    ~LayoutRegistry();

    /// Makes a type of the host known, so that its samples need no description. It wins over a
    /// description of the same layout.
    /// \param type \ownership observes: must outlive the registry and not change
    void Add(core::tessaryn::StreamType& type);

    /// Learns a layout from its description; one that is known stays as it is.
    /// \param fingerprint what the sender says that the description has
    /// \return \ownership lends: the type, until the registry goes
    /// \throws ExchangeException when the description is none, has another fingerprint, or is one
    /// too many
    core::tessaryn::StreamType& Learn(const Fingerprint& fingerprint, std::string_view description);

    /// The type of a layout, or null.
    /// \return \ownership lends: until the registry goes
    core::tessaryn::StreamType* Find(const Fingerprint& fingerprint) const;

  private:
    DescriptionLimits limits;
    std::size_t maxDescribed;
    std::unordered_map<Fingerprint, core::tessaryn::StreamType*> types;
    std::unordered_map<Fingerprint, std::unique_ptr<DescribedType>> described;
};

}  // namespace velmora::exchange
