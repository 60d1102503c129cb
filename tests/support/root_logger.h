// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/AutoPtr.h>
#include <Poco/Channel.h>
#include <Poco/Logger.h>
#include <Poco/Message.h>

#include <string>
#include <vector>

namespace velmora::test {

/// While it lives, keeps what the root logger is told instead of printing it.
class RootLoggerRecord {
  public:
    RootLoggerRecord() : record(new Recorder), former(Poco::Logger::root().getChannel(), true) {
        Poco::Logger::root().setChannel(record);
    }
    RootLoggerRecord(const RootLoggerRecord&) = delete;
    RootLoggerRecord& operator=(const RootLoggerRecord&) = delete;
    ~RootLoggerRecord() { Poco::Logger::root().setChannel(former); }

    const std::vector<std::string>& Warnings() const { return record->warnings; }

  private:
    struct Recorder : Poco::Channel {
        void log(const Poco::Message& message) override {
            if (message.getPriority() == Poco::Message::PRIO_WARNING)
                warnings.push_back(message.getText());
        }
        std::vector<std::string> warnings;
    };

    Poco::AutoPtr<Recorder> record;
    Poco::AutoPtr<Poco::Channel> former;
};

}  // namespace velmora::test
