// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/adapter.h"

#include "tessaryn/sample_numbers.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/visit_type.h"

#include <limits>
#include <memory>
#include <span>
#include <stdexcept>
#include <type_traits>

namespace velmora::exchange {

namespace {

using core::tessaryn::BaseType;
using core::tessaryn::Sample;
using core::tessaryn::SampleEntry;
using core::tessaryn::StreamType;

// Whether the other type can represent each value of the type.
template <class From, class To>
constexpr bool IsWidening() {
    if constexpr (std::is_same_v<From, To>) {
        return !std::is_void_v<From>;
    } else if constexpr (!std::is_arithmetic_v<From> || !std::is_arithmetic_v<To> ||
                         std::is_same_v<From, bool> || std::is_same_v<To, bool>) {
        return false;
    } else {
        using FromLimits = std::numeric_limits<From>;
        using ToLimits = std::numeric_limits<To>;
        return FromLimits::digits <= ToLimits::digits &&
               (!std::is_signed_v<From> || std::is_signed_v<To>)&&(FromLimits::is_integer ||
                                                                   !ToLimits::is_integer);
    }
}

template <class To>
void CopyNumbers(const Sample& from, unsigned short fromEntry, Sample& to, unsigned short toEntry) {
    const unsigned int count = from.GetSize(fromEntry);
    to.Resize(toEntry, count);
    const auto values = std::make_unique<To[]>(count);
    core::tessaryn::GetNumbers(from, fromEntry, 0, std::span(values.get(), count));
    core::tessaryn::SetNumbers(to, toEntry, 0, std::span(values.get(), count));
}

void CopyText(const Sample& from, unsigned short fromEntry, Sample& to, unsigned short toEntry) {
    to.Set(toEntry, from.GetString(fromEntry));
}

using CopyFunction = void (*)(const Sample&, unsigned short, Sample&, unsigned short);

// The function that copies an entry; null if the copy could change a value.
CopyFunction FindCopy(BaseType from, BaseType to) {
    return core::tessaryn::VisitType(from, [to](auto fromType) {
        return core::tessaryn::VisitType(to, [](auto toType) -> CopyFunction {
            using From = typename decltype(fromType)::type;
            using To = typename decltype(toType)::type;
            if constexpr (!IsWidening<From, To>()) {
                return nullptr;
            } else if constexpr (std::is_same_v<To, std::string>) {
                return CopyText;
            } else {
                return CopyNumbers<To>;
            }
        });
    });
}

std::string Describe(const SampleEntry& entry) {
    return "Entry '" + entry.key + "' (" + ToString(entry.type) + ")";
}

}  // namespace

Adapter::Adapter(const StreamType& source, StreamType& target) : source(&source), target(&target) {
    for (unsigned short from = 0; from < source.GetNumEntries(); ++from) {
        const SampleEntry entry = source.GetEntry(from);
        if (!target.EntryExists(entry.key)) {
            losses.push_back(Describe(entry) + " does not exist in version " +
                             target.GetVersion().ToString() + ".");
            continue;
        }
        const unsigned short to = target.EntryId(entry.key);
        if (const CopyFunction copy = FindCopy(entry.type, target.GetType(to))) {
            copies.push_back({from, to, copy});
        } else {
            losses.push_back(Describe(entry) + " does not always fit " +
                             ToString(target.GetType(to)) + " of version " +
                             target.GetVersion().ToString() + ".");
        }
    }
    std::vector<bool> isFilled(target.GetNumEntries());
    for (const Copy& copy : copies) {
        isFilled[copy.to] = true;
    }
    for (unsigned short to = 0; to < target.GetNumEntries(); ++to) {
        if (!isFilled[to]) {
            emptied.push_back(to);
        }
    }
}

Sample Adapter::Adapt(const Sample& sample) const {
    const StreamType* const type = sample.GetStreamType();
    if (type == nullptr || (type != source && !type->HasSameLayout(*source))) {
        throw std::invalid_argument("The sample is not of the type that the adapter was made for.");
    }
    Sample result(target, sample.GetTimeStamp());
    for (const unsigned short entry : emptied) {
        result.Resize(entry, 0);
    }
    for (const Copy& copy : copies) {
        copy.run(sample, copy.from, result, copy.to);
    }
    return core::tessaryn::Restamped(std::move(result), sample.GetTimeStamp());
}

}  // namespace velmora::exchange
