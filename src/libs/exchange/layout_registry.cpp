// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/layout_registry.h"

#include "exchange/exchange_exception.h"

#include <string>
#include <utility>

namespace velmora::exchange {

LayoutRegistry::LayoutRegistry(const DescriptionLimits& limits, std::size_t maxDescribed)
    : limits(limits), maxDescribed(maxDescribed) {}

LayoutRegistry::~LayoutRegistry() = default;

void LayoutRegistry::Add(core::tessaryn::StreamType& type) {
    types[FingerprintOf(type)] = &type;
}

core::tessaryn::StreamType& LayoutRegistry::Learn(const Fingerprint& fingerprint,
                                                  std::string_view description) {
    if (core::tessaryn::StreamType* const known = Find(fingerprint)) {
        return *known;
    }
    if (described.size() == maxDescribed) {
        throw ExchangeException("There are descriptions of " + std::to_string(maxDescribed) +
                                " types already, which is the limit.");
    }
    std::unique_ptr<DescribedType> type = ReadDescription(description, limits);
    if (FingerprintOf(type->GetType()) != fingerprint) {
        throw ExchangeException("The description of type '" + type->GetFullName() +
                                "' does not have the fingerprint " + fingerprint.ToString() + ".");
    }
    core::tessaryn::StreamType& result = type->GetType();
    described.emplace(fingerprint, std::move(type));
    return result;
}

core::tessaryn::StreamType* LayoutRegistry::Find(const Fingerprint& fingerprint) const {
    if (const auto own = types.find(fingerprint); own != types.end()) {
        return own->second;
    }
    const auto learnt = described.find(fingerprint);
    return learnt == described.end() ? nullptr : &learnt->second->GetType();
}

}  // namespace velmora::exchange
