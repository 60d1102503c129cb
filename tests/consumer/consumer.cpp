// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The long form, which pages show, beside the short one of the first days.
#include "common/version.h"
#include "serializer/node_tree.h"
#include "serializer/xml_format.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"
#include "velmora/tessaryn/stream_repository.h"
#include "velmora/tessaryn/stream_type.h"
#include "velmora/tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>
#include <Poco/Exception.h>

#include <iostream>
#include <sstream>

using namespace velmora::core;
using namespace velmora::core::tessaryn;

namespace {

int warnings = 0;

void Warn(SubscriptionArgs& args) {
    std::cout << "too warm: " << args.sample->GetDouble(0, 0) << '\n';
    ++warnings;
}

// Whether exceptions that the libraries throw are caught here by the types of the headers.
bool ErrorsCross(Stream& stream) {
    try {
        stream.GetLatest([](const Sample&) {});
        return false;
    } catch (const ItemNotFoundException&) {
    }
    try {
        stream.Subscribe({Expression("temperature >"), Poco::delegate(&Warn)});
        return false;
    } catch (const Poco::SyntaxException&) {
    }
    return true;
}

}  // namespace

int main() {
    StreamType type;
    type.Add("temperature", Double, 1);
    Stream stream(&type, 10);
    const bool crossed = ErrorsCross(stream);
    stream.Subscribe({Expression("temperature > 8.0"), Poco::delegate(&Warn)});
    for (const double temperature : {7.5, 8.5}) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, temperature); });
    }

    serialization::NodeTree tree;
    tree.GetRoot().AddNode("Consumer", serialization::NodeElement);
    std::stringstream text;
    serialization::WriteXml(tree, text);
    const bool kept = serialization::ReadXml(text).GetRoot()["Consumer"].Exists();
    return crossed && warnings == 1 && kept && host::version == 7 ? 0 : 1;
}
