// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/full_name_index.h"

#include <algorithm>
#include <optional>
#include <random>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

using Group = StreamTypeCollectionGroup;
using Visit = GroupVisit<Group>;

// Hash of a text that can be appended to: a polynomial of its bytes modulo a prime. The random
// factor keeps names from being chosen so that they collide.
class TextHash {
  public:
    void Append(std::string_view text) {
        for (const char c : text) {
            const Wide product = Wide{value} * Factor() + static_cast<unsigned char>(c) + 1;
            value = static_cast<std::uint64_t>(product % prime);
        }
    }

    std::uint64_t GetValue() const { return value; }

  private:
    __extension__ using Wide = unsigned __int128;
    static constexpr std::uint64_t prime = (std::uint64_t{1} << 61U) - 1;

    static std::uint64_t Factor() {
        static const std::uint64_t factor = [] {
            std::random_device random;
            return std::uniform_int_distribution<std::uint64_t>(prime / 2, prime - 1)(random);
        }();
        return factor;
    }

    std::uint64_t value = 0;
};

// The positions at which the name of a sub-group may end in the rest of a full name, ascending:
// each "." or, in a text with many of them, the ends of the sub-groups' names.
std::vector<std::size_t> PossibleEnds(const Group& group, std::string_view rest) {
    constexpr std::ptrdiff_t manyDots = 32;
    std::vector<std::size_t> ends;
    if (std::count(rest.begin(), rest.end(), '.') < manyDots) {
        for (std::size_t dot = rest.find('.'); dot != std::string_view::npos;
             dot = rest.find('.', dot + 1)) {
            ends.push_back(dot);
        }
        return ends;
    }
    for (const std::string& name : group.GetGroupNames()) {
        if (rest.starts_with(name) && rest.substr(name.size()).starts_with('.')) {
            ends.push_back(name.size());
        }
    }
    return ends;
}

// A group in which the rest of a full name, from `begin` on, is to be looked up.
struct Candidate {
    Visit visit;
    std::size_t begin;
    // Whether the group's own full name is empty: it leaves no trace in the names below it.
    bool isTop;
};

// Adds the sub-groups that the full name may lead to, the first one last.
void AddSubgroups(const Candidate& from, std::string_view rest, std::vector<Candidate>& open) {
    std::vector<std::size_t> ends = PossibleEnds(*from.visit, rest);
    std::reverse(ends.begin(), ends.end());
    for (const std::size_t end : ends) {
        if (end == 0 && from.isTop) {
            continue;
        }
        std::optional<Visit> below = from.visit.Fork(rest.substr(0, end));
        if (below) {
            open.push_back({std::move(*below), from.begin + end + 1, false});
        }
    }
    if (from.isTop) {
        std::optional<Visit> unnamed = from.visit.Fork("");
        if (unnamed) {
            open.push_back({std::move(*unnamed), from.begin, true});
        }
    }
}

std::string Join(const std::vector<std::string_view>& names) {
    std::string fullName;
    for (const std::string_view name : names) {
        if (!fullName.empty()) {
            fullName += '.';
        }
        fullName += name;
    }
    return fullName;
}

StreamTypeCollection* Follow(Group& root, const std::vector<std::string_view>& path) {
    Visit visit(root);
    for (std::size_t i = 0; i + 1 < path.size(); ++i) {
        if (!visit.Enter(path[i])) {
            return nullptr;
        }
    }
    return visit->GetItemPtr(std::string(path.back()));
}

}  // namespace

StreamTypeCollection* FullNameIndex::Find(Group& root, const std::string& fullName) {
    // Below this number of steps, searching is cheaper than building a table.
    constexpr std::size_t minSteps = 1000;
    if (builtAt != Group::CountChanges() && searchSteps > buildSteps + minSteps) {
        Build(root);
    }
    if (builtAt != Group::CountChanges()) {
        return Search(root, fullName);
    }
    TextHash hash;
    hash.Append(fullName);
    const auto place = collections.find(hash.GetValue());
    if (place == collections.end()) {
        return nullptr;
    }
    const std::vector<std::string_view> path = PathTo(place->second);
    StreamTypeCollection* const found = Join(path) == fullName ? Follow(root, path) : nullptr;
    // Two names with one hash, or a change by another thread.
    return found != nullptr ? found : Search(root, fullName);
}

StreamTypeCollection* FullNameIndex::Search(Group& root, const std::string& fullName) {
    std::vector<Candidate> open;
    open.push_back({Visit(root), 0, true});
    while (!open.empty()) {
        const Candidate candidate = std::move(open.back());
        open.pop_back();
        ++searchSteps;
        const std::string rest = fullName.substr(candidate.begin);
        StreamTypeCollection* const found = candidate.visit->GetItemPtr(rest);
        if (found != nullptr) {
            return found;
        }
        AddSubgroups(candidate, rest, open);
    }
    return nullptr;
}

void FullNameIndex::Build(Group& root) {
    struct Pending {
        Visit visit;
        std::size_t node;
        TextHash hash;  // of the full name and ".", or of nothing at the top
        bool isTop;
    };
    // A change from here on outdates the table.
    const std::uint64_t changes = Group::CountChanges();
    nodes.assign(1, {});
    collections.clear();
    std::vector<Pending> open;
    open.push_back({Visit(root), 0, TextHash(), true});
    while (!open.empty()) {
        const Pending group = std::move(open.back());
        open.pop_back();
        for (const std::string& name : group.visit->GetItemNames()) {
            TextHash hash = group.hash;
            hash.Append(name);
            // The first of a full name stays.
            if (collections.emplace(hash.GetValue(), nodes.size()).second) {
                nodes.push_back({group.node, name});
            }
        }
        std::vector<std::string> names = group.visit->GetGroupNames();
        std::reverse(names.begin(), names.end());
        for (const std::string& name : names) {
            std::optional<Visit> below = group.visit.Fork(name);
            if (below) {
                const bool isTop = group.isTop && name.empty();
                TextHash hash = group.hash;
                hash.Append(isTop ? "" : name + ".");
                open.push_back({std::move(*below), nodes.size(), hash, isTop});
                nodes.push_back({group.node, name});
            }
        }
    }
    builtAt = changes;
    buildSteps = nodes.size();
    searchSteps = 0;
}

std::vector<std::string_view> FullNameIndex::PathTo(std::size_t node) const {
    std::vector<std::string_view> path;
    for (; node != 0; node = nodes[node].parent) {
        path.push_back(nodes[node].name);
    }
    std::reverse(path.begin(), path.end());
    return path;
}

}  // namespace velmora::core::tessaryn
