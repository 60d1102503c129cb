// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/error_handlers.h"

#include "serializer/node_tree.h"
#include "serializer/serializer.h"
#include "support/thrown.h"

#include <Poco/AutoPtr.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/PatternFormatter.h>
#include <Poco/StreamChannel.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace velmora::core::serialization {
namespace {

using test::MessageOf;

TEST(ThrowErrorHandler, LogsTheMessageUnchangedIfFlagAndLevelAllowIt) {
    std::ostringstream output;
    Poco::AutoPtr<Poco::Channel> channel(new Poco::FormattingChannel(
        new Poco::PatternFormatter("%s:%U:%u:%t"), new Poco::StreamChannel(output)));
    Poco::Logger& logger = Poco::Logger::create("host", channel, Poco::Message::PRIO_WARNING);
    const NodeTree tree;
    const auto test = [&](bool log) {
        NodeSerializer().Test(tree.GetRoot()["%s"]["b"], Exist(), Throw(log, logger));
    };
    EXPECT_THROW(test(false), SerializationException);
    EXPECT_EQ(output.str(), "");
    const std::string text = MessageOf<SerializationException>([&] { test(true); });
    EXPECT_EQ(text, "Value at position '/%s/b' broke rule 'Exists'.");
    logger.setLevel(Poco::Message::PRIO_ERROR);
    EXPECT_THROW(test(true), SerializationException);
    EXPECT_EQ(output.str(), "host:src/libs/serializer/error_handlers:89:" + text + "\n");
    Poco::Logger::destroy("host");
}

}  // namespace
}  // namespace velmora::core::serialization
