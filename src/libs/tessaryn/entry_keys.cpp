// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/entry_keys.h"

#include "tessaryn/number_key.h"
#include "tessaryn/visit_type.h"

#include <bit>
#include <optional>
#include <string_view>

namespace velmora::core::tessaryn {

namespace {

std::optional<std::uint64_t> ReadKey(BaseType type, std::string_view bytes) {
    return VisitType(
        type,
        [&]<class Native>(std::type_identity<Native> /*type*/) -> std::optional<std::uint64_t> {
            if constexpr (std::is_arithmetic_v<Native>) {
                using Number = NumberOf<Native>;
                if (bytes.size() == sizeof(Number)) {
                    const auto number = traits::Load<Number>(bytes.data());
                    if (!IsNaN(number)) {
                        return KeyOf(static_cast<Wide<Native>>(number));
                    }
                }
            }
            return std::nullopt;
        });
}

}  // namespace

bool EntryKeys::Read(std::uint32_t entries, const SampleView& sample) {
    for (std::uint32_t rest = entries & ~tried; rest != 0; rest &= rest - 1) {
        const auto entry = static_cast<unsigned short>(std::countr_zero(rest));
        const auto key = ReadKey(sample.Type()->GetType(entry), sample.BytesOfExisting(entry));
        if (key) {
            keys[entry] = *key;
            known |= rest & (~rest + 1);
        }
    }
    tried |= entries;
    return (entries & ~known) == 0;
}

}  // namespace velmora::core::tessaryn
