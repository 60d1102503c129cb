// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_texts.h"

#include "tessaryn/errors.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/stream_type.h"

#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

namespace {

// The element counts of all entries, with those of the texts in place of the present ones.
std::vector<unsigned int> SizesWith(const Sample& sample, unsigned short first,
                                    std::span<const std::string_view> texts) {
    const StreamType* const type = SampleAccess::TypeOf(sample);
    const std::size_t numEntries = type == nullptr ? 0 : type->GetNumEntries();
    std::vector<unsigned int> sizes(numEntries);
    for (std::size_t i = 0; i < numEntries; ++i) {
        const auto entry = static_cast<unsigned short>(i);
        sizes[i] = static_cast<unsigned int>(traits::ElementCount(
            type->GetType(entry), SampleAccess::BytesOf(sample, entry).second));
    }
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const std::size_t id = first + i;
        if (id >= numEntries) {
            SampleAccess::ThrowNoEntry(type, static_cast<unsigned short>(id));
        }
        const BaseType declared = type->GetType(static_cast<unsigned short>(id));
        if (declared != String) {
            throw TypeMismatchException(declared, String);
        }
        SampleAccess::CheckTotal(texts[i].size());
        sizes[id] = static_cast<unsigned int>(texts[i].size());
    }
    return sizes;
}

}  // namespace

void SetTexts(Sample& sample, unsigned short first, std::span<const std::string_view> texts) {
    const std::vector<unsigned int> sizes = SizesWith(sample, first, texts);
    if (texts.empty()) {
        return SampleAccess::SetTime(sample, Poco::Timestamp());
    }
    Sample replaced = SampleAccess::MakeLike(sample, Poco::Timestamp(), sizes);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const auto entry = static_cast<unsigned short>(i);
        const auto [to, size] = SampleAccess::BytesOf(replaced, entry);
        const bool isText = i >= first && i - first < texts.size();
        const char* const from =
            isText ? texts[i - first].data()
                   : SampleAccess::DataOf(sample) + SampleAccess::BytesOf(sample, entry).first;
        if (size != 0) {
            std::memcpy(SampleAccess::DataOf(replaced) + to, from, size);
        }
    }
    sample = std::move(replaced);
}

}  // namespace velmora::core::tessaryn
