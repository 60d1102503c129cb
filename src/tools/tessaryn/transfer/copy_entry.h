// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"
#include "text/value_text.h"

#include <utility>

namespace velmora::tool {

/// Copies an entry from one sample to another, its size included; the other's time changes.
/// \pre the entries are of one value type
inline void CopyEntry(const core::tessaryn::Sample& from, unsigned short fromEntry,
                      core::tessaryn::Sample& to, unsigned short toEntry) {
    const core::tessaryn::BaseType type = from.GetStreamType()->GetType(fromEntry);
    if (type == core::tessaryn::String) {
        to.Set(toEntry, from.GetString(fromEntry));
        return;
    }
    const unsigned int size = from.GetSize(fromEntry);
    to.Resize(toEntry, size);
    for (unsigned int i = 0; i < size; ++i) {
        VisitGetter(type, [&](auto getter) { to.Set(toEntry, i, (from.*getter)(fromEntry, i)); });
    }
}

/// Copies the entries that both samples have, of one value type, and the time.
inline void CopyEntries(const core::tessaryn::Sample& from, core::tessaryn::Sample& to) {
    const core::tessaryn::StreamType& type = *from.GetStreamType();
    const core::tessaryn::StreamType& target = *to.GetStreamType();
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        const core::tessaryn::SampleEntry entry = type.GetEntry(id);
        if (!target.EntryExists(entry.key)) {
            continue;
        }
        const unsigned short targetId = target.EntryId(entry.key);
        if (target.GetType(targetId) == entry.type) {
            CopyEntry(from, id, to, targetId);
        }
    }
    to = Restamped(std::move(to), from.GetTimeStamp());
}

}  // namespace velmora::tool
