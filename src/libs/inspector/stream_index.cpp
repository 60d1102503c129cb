// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/stream_index.h"

#include "tessaryn/stream_group.h"
#include "tessaryn/stream_repository.h"

#include <Poco/String.h>

#include <algorithm>
#include <utility>

namespace velmora::inspector {

using core::tessaryn::Stream;
using core::tessaryn::StreamGroup;

PathList::PathList(std::vector<std::string> unsorted, char separator)
    : separator(separator), paths(std::move(unsorted)) {
    std::sort(paths.begin(), paths.end(),
              [this](const std::string& left, const std::string& right) {
                  return IsBefore(left, right);
              });
    for (const std::string& path : paths) {
        folded.push_back(Poco::toLower(path));
    }
}

PathList::Page PathList::GetChildren(const std::string& group, std::size_t offset,
                                     std::size_t limit) const {
    const std::string prefix = group.empty() ? group : group + separator;
    Page page;
    auto place = std::lower_bound(
        paths.begin(), paths.end(), prefix,
        [this](const std::string& path, const std::string& text) { return IsBefore(path, text); });
    const auto end = EndOf(prefix);
    while (place != end) {
        const std::size_t nameEnd = std::min(place->find(separator, prefix.size()), place->size());
        // A separator at the end is followed by an empty name.
        const bool isGroup = nameEnd + 1 < place->size();
        Child child;
        child.path = isGroup ? place->substr(0, nameEnd) : *place;
        child.name = place->substr(prefix.size(), nameEnd - prefix.size());
        const auto next = isGroup ? EndOf(child.path + separator) : std::next(place);
        child.streams = isGroup ? static_cast<std::size_t>(next - place) : 0;
        if (page.total >= offset && page.children.size() < limit) {
            page.children.push_back(std::move(child));
        }
        ++page.total;
        place = next;
    }
    return page;
}

PathList::Matches PathList::Find(const std::string& text, std::size_t offset,
                                 std::size_t limit) const {
    const std::string wanted = Poco::toLower(text);
    Matches matches;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (folded[i].find(wanted) == std::string::npos) {
            continue;
        }
        if (matches.total >= offset && matches.paths.size() < limit) {
            matches.paths.push_back(paths[i]);
        }
        ++matches.total;
    }
    return matches;
}

// The position behind the paths that begin with a prefix.
std::vector<std::string>::const_iterator PathList::EndOf(std::string_view prefix) const {
    return std::partition_point(paths.begin(), paths.end(), [&](const std::string& path) {
        return path.starts_with(prefix) || IsBefore(path, prefix);
    });
}

bool PathList::IsBefore(std::string_view left, std::string_view right) const {
    const auto rank = [this](char c) {
        return c == separator ? -1 : static_cast<unsigned char>(c);
    };
    return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                        [&](char a, char b) { return rank(a) < rank(b); });
}

std::shared_ptr<const PathList> StreamIndex::Get() {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto begin = Clock::now();
    const std::uint64_t present = StreamGroup::CountChanges();
    if (list && (present == changes || begin < nextUpdate)) {
        return list;
    }
    std::vector<std::string> paths;
    streams.ForEachStream([&](const std::string& path, Stream&) { paths.push_back(path); });
    list = std::make_shared<const PathList>(std::move(paths), streams.groupSeparator());
    changes = present;
    nextUpdate = Clock::now() + 20 * (Clock::now() - begin);
    return list;
}

}  // namespace velmora::inspector
