// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "common/version.h"
#include "serializer/node_tree.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <iostream>

int main() {
    using namespace velmora::core::tessaryn;
    StreamType type;
    type.Add("x", Int32, 1);
    Stream stream(&type, 10);
    try {
        // An exception that the library throws is caught here as the type that the header names.
        stream.GetLatest([](const Sample&) {});
        return 1;
    } catch (const ItemNotFoundException& missing) {
        std::cout << missing.what() << '\n';
    }
    velmora::core::serialization::NodeTree tree;
    return tree.GetRoot().Exists() && velmora::utils::Version("1.2.3").ToString() == "1.2.3" ? 0
                                                                                             : 1;
}
