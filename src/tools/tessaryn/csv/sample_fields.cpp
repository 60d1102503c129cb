// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/sample_fields.h"

#include "tessaryn/stream_type.h"

#include <bit>
#include <cstddef>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

// Types whose fields are kept: streams that one table's rows belong to in turn.
constexpr std::size_t maxBindings = 16;

template <class T>
bool WriteNumber(const tsn::Field<T>& field, tsn::Sample& sample, const PlainValue& value) {
    if (field.GetSize(sample) != (value.isMissing ? 0 : 1)) {
        return false;
    }
    if (!value.isMissing) {
        field.SetKeepingTime(sample, std::bit_cast<T>(value.bits));
    }
    return true;
}

tsn::BaseType GetType(PlainValue::Kind kind) {
    switch (kind) {
        case PlainValue::Kind::decimal:
            return tsn::Double;
        case PlainValue::Kind::integer:
            return tsn::Int64;
        case PlainValue::Kind::text:
            break;
    }
    return tsn::String;
}

bool HasEntries(const tsn::StreamType& type, const std::vector<PlainValue>& values) {
    if (type.GetNumEntries() != values.size()) {
        return false;
    }
    unsigned short id = 0;
    while (id < values.size() && type.GetType(id) == GetType(values[id].kind)) {
        ++id;
    }
    return id == values.size();
}

}  // namespace

bool SampleFields::Write(tsn::Sample& sample, const std::vector<PlainValue>& values) {
    const Binding* const binding = FindBinding(*sample.GetStreamType(), values);
    if (binding == nullptr) {
        return false;
    }
    const PlainValue* value = values.data();
    for (const Field& field : binding->fields) {
        bool isWritten = true;
        if (const auto* const decimal = std::get_if<tsn::Field<double>>(&field)) {
            isWritten = WriteNumber(*decimal, sample, *value);
        } else if (const auto* const integer = std::get_if<tsn::Field<long long>>(&field)) {
            isWritten = WriteNumber(*integer, sample, *value);
        } else {
            std::get_if<tsn::Field<std::string>>(&field)->SetKeepingTime(sample, value->text);
        }
        if (!isWritten) {
            return false;
        }
        ++value;
    }
    return true;
}

// Null for the types after the first ones, and for those of other entries.
const SampleFields::Binding* SampleFields::FindBinding(const tsn::StreamType& type,
                                                       const std::vector<PlainValue>& values) {
    const std::uint64_t layout = type.GetLayoutNumber();
    if (latest < bindings.size() && bindings[latest].layout == layout) {
        return &bindings[latest];
    }
    for (latest = 0; latest < bindings.size() && bindings[latest].layout != layout; ++latest) {
    }
    if (latest == bindings.size()) {
        if (latest == maxBindings || !HasEntries(type, values)) {
            return nullptr;
        }
        Binding binding{layout, {}};
        const auto count = static_cast<unsigned short>(values.size());
        for (unsigned short id = 0; id < count; ++id) {
            switch (values[id].kind) {
                case PlainValue::Kind::decimal:
                    binding.fields.emplace_back(tsn::Field<double>(type, id));
                    break;
                case PlainValue::Kind::integer:
                    binding.fields.emplace_back(tsn::Field<long long>(type, id));
                    break;
                case PlainValue::Kind::text:
                    binding.fields.emplace_back(tsn::Field<std::string>(type, id));
                    break;
            }
        }
        bindings.push_back(std::move(binding));
    }
    return &bindings[latest];
}

}  // namespace velmora::tool
