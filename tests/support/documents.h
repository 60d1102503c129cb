// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/json_format.h"
#include "serializer/node_tree.h"
#include "serializer/xml_format.h"
#include "support/node_builder.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace velmora::test {

using core::serialization::NodeTree;

struct TextForm {
    std::string name;
    void (*write)(const NodeTree&, std::ostream&);
    NodeTree (*read)(std::istream&);
};

inline const TextForm xml = {"XML", core::serialization::WriteXml, core::serialization::ReadXml};
inline const TextForm json = {"JSON", core::serialization::WriteJson,
                              core::serialization::ReadJson};

inline std::string Write(const TextForm& form, const NodeTree& tree) {
    std::ostringstream out;
    form.write(tree, out);
    return out.str();
}

inline NodeTree Read(const TextForm& form, const std::string& text) {
    std::istringstream in(text);
    return form.read(in);
}

/// That a tree goes through both forms and comes back the same.
inline void ExpectKept(const NodeTree& tree) {
    const NodeTree fromXml = Read(xml, Write(xml, tree));
    const NodeTree fromJson = Read(json, Write(json, tree));
    EXPECT_EQ(Sorted(fromXml.GetRoot()), Sorted(tree.GetRoot()));
    EXPECT_EQ(Sorted(fromJson.GetRoot()), Sorted(tree.GetRoot()));
    EXPECT_EQ(Write(json, fromXml), Write(json, tree));
    EXPECT_EQ(Write(xml, fromJson), Write(xml, tree));
}

}  // namespace velmora::test
