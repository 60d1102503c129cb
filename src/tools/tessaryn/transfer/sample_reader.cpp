// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/sample_reader.h"

#include "command_error.h"
#include "text/escaped_text.h"

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

bool IsEqual(const tsn::StreamType& one, const tsn::StreamType& other) {
    return &one == &other ||
           (one.HasSameLayout(other) && one.GetMemOffsetLookup() == other.GetMemOffsetLookup() &&
            one.GetVersion() == other.GetVersion() && one.GetFullName() == other.GetFullName());
}

}  // namespace

std::size_t LayoutIndex::Find(const std::string& path, const tsn::StreamType& type) {
    if (&type == lastType && path == lastPath) {
        return lastIndex;
    }
    for (std::size_t i = 0; i < layouts.size(); ++i) {
        if (layouts[i].path == path && IsEqual(*layouts[i].type, type)) {
            lastPath = path;
            lastType = &type;
            lastIndex = i;
            return i;
        }
    }
    throw CommandError("stream " + Quoted(path) + " got another type while it was read");
}

}  // namespace velmora::tool
