// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/sample_fields.h"

#include "tessaryn/stream_type.h"

#include <cstdint>
#include <cstring>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

template <class T>
bool WriteNumber(const tsn::Field<T>& field, tsn::Sample& sample, std::string_view bytes) {
    T value{};
    if (bytes.size() != sizeof value || field.GetSize(sample) != 1) {
        return false;
    }
    std::memcpy(&value, bytes.data(), sizeof value);
    field.SetKeepingTime(sample, value);
    return true;
}

}  // namespace

bool SampleFields::Write(tsn::Sample& sample, std::string_view bytes) {
    if (sample.GetStreamType() != type) {
        Bind(*sample.GetStreamType());
    }
    std::string_view elements = bytes.substr((fields.size() + 1) * sizeof(std::uint32_t));
    std::uint32_t begin = 0;
    const char* table = bytes.data() + sizeof begin;
    for (const Field& field : fields) {
        std::uint32_t end = 0;
        std::memcpy(&end, table, sizeof end);
        table += sizeof end;
        const std::string_view entry = elements.substr(0, end - begin);
        elements.remove_prefix(end - begin);
        begin = end;
        if (const auto* const decimal = std::get_if<tsn::Field<double>>(&field)) {
            if (!WriteNumber(*decimal, sample, entry)) {
                return false;
            }
        } else if (const auto* const integer = std::get_if<tsn::Field<long long>>(&field)) {
            if (!WriteNumber(*integer, sample, entry)) {
                return false;
            }
        } else if (const auto* const text = std::get_if<tsn::Field<std::string>>(&field)) {
            text->SetKeepingTime(sample, entry);
        } else {
            return false;
        }
    }
    return true;
}

void SampleFields::Bind(const tsn::StreamType& newType) {
    fields.clear();
    for (unsigned short id = 0; id < newType.GetNumEntries(); ++id) {
        switch (newType.GetType(id)) {
            case tsn::Double:
                fields.emplace_back(tsn::Field<double>(newType, id));
                break;
            case tsn::Int64:
                fields.emplace_back(tsn::Field<long long>(newType, id));
                break;
            case tsn::String:
                fields.emplace_back(tsn::Field<std::string>(newType, id));
                break;
            default:
                fields.emplace_back();
        }
    }
    type = &newType;
}

}  // namespace velmora::tool
