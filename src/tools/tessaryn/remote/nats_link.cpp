// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "remote/nats_link.h"

#include "command_error.h"
#include "nats/nats_exception.h"
#include "text/escaped_text.h"

#include <Poco/Channel.h>
#include <Poco/Logger.h>
#include <Poco/Message.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <nats/nats.h>
#include <utility>

namespace velmora::tool {

namespace {

using Clock = SignalWatcher::Clock;

std::atomic<int> numLinks = 0;

class LogChannel : public Poco::Channel {
  public:
    explicit LogChannel(std::function<void(bool, const std::string&)> action)
        : action(std::move(action)) {}

    void log(const Poco::Message& message) override {
        if (numLinks == 0) {
            return;
        }
        action(message.getPriority() <= Poco::Message::PRIO_WARNING, message.getText());
    }

  private:
    std::function<void(bool, const std::string&)> action;
};

void CheckOption(natsStatus status, const char* what, const std::string& file) {
    if (status != NATS_OK) {
        throw CommandError("cannot use " + std::string(what) + " " + Quoted(file) + ": " +
                           natsStatus_GetText(status));
    }
}

void Configure(natsOptions* options, const NatsSettings& settings) {
    natsOptions_SetName(options, "tessaryn");
    if (!settings.credentials.empty()) {
        CheckOption(
            natsOptions_SetUserCredentialsFromFiles(options, settings.credentials.c_str(), nullptr),
            "the credentials", settings.credentials);
    }
    if (!settings.authority.empty()) {
        natsOptions_SetSecure(options, true);
        CheckOption(natsOptions_LoadCATrustedCertificates(options, settings.authority.c_str()),
                    "the certificates of authorities", settings.authority);
    }
    if (!settings.certificate.empty()) {
        natsOptions_SetSecure(options, true);
        CheckOption(natsOptions_LoadCertificatesChain(options, settings.certificate.c_str(),
                                                      settings.key.c_str()),
                    "the certificate", settings.certificate);
    }
}

nats::Connection Connect(const NatsAddress& address, const NatsSettings& settings) try {
    CheckNatsSettings(settings);
    return nats::Connection(address.urls,
                            [&](natsOptions* options) { Configure(options, settings); });
} catch (const nats::NatsException& error) {
    throw CommandError(address.shown + ": " + error.what());
}

struct ContextDestroyer {
    void operator()(jsCtx* context) const { jsCtx_Destroy(context); }
};

std::unique_ptr<jsCtx, ContextDestroyer> MakeContext(const nats::Connection& connection) {
    jsCtx* made = nullptr;
    if (natsConnection_JetStream(&made, connection.Get(), nullptr) != NATS_OK) {
        throw CommandError("cannot use JetStream");
    }
    return std::unique_ptr<jsCtx, ContextDestroyer>(made);
}

// Whether the server reports that it has no JetStream; one that is starting may not answer.
bool LacksJetStream(const nats::Connection& connection) {
    const auto context = MakeContext(connection);
    jsAccountInfo* info = nullptr;
    auto error = static_cast<jsErrCode>(0);
    const natsStatus status = js_GetAccountInfo(&info, context.get(), nullptr, &error);
    jsAccountInfo_Destroy(info);
    return status == NATS_NO_RESPONDERS || error == JSNotEnabledErr ||
           error == JSNotEnabledForAccountErr;
}

}  // namespace

NatsLink::Presence::Presence() {
    ++numLinks;
}

NatsLink::Presence::~Presence() {
    --numLinks;
}

NatsLink::NatsLink(const NatsAddress& address, const NatsSettings& settings)
    : address(address), jetStream(settings.jetStream), connection(Connect(address, settings)) {}

bool NatsLink::WaitForServer(SignalWatcher& signals,
                             const std::function<void(const std::string&)>& warn) {
    constexpr std::chrono::milliseconds interval(20);
    const Clock::time_point begin = Clock::now();
    bool isTold = false;
    while (!connection.IsConnected()) {
        constexpr std::chrono::milliseconds patience(500);
        if (!isTold && Clock::now() - begin >= patience) {
            isTold = true;
            warn("no NATS server answers at " + address.shown + "; it is tried on");
        }
        if (signals.WaitReadable(-1, Clock::now() + interval) == SignalWatcher::Event::stopped) {
            return false;
        }
    }
    if (LacksJetStream(connection)) {
        throw CommandError("the NATS server at " + address.shown +
                           " has no JetStream; nats-server -js turns it on");
    }
    return true;
}

void NatsLink::CheckJetStream(const std::function<void(const std::string&)>& warn) {
    const auto context = MakeContext(connection);
    jsStreamInfo* info = nullptr;
    if (js_GetStreamInfo(&info, context.get(), jetStream.c_str(), nullptr, nullptr) ==
        NATS_NOT_FOUND) {
        warn("the NATS server at " + address.shown + " has no JetStream stream " +
             Quoted(jetStream) + " yet; it is waited for");
    }
    jsStreamInfo_Destroy(info);
}

void LogNatsTo(std::function<void(bool isWarning, const std::string& message)> action) {
    Poco::Logger::get("velmora.nats").setChannel(new LogChannel(std::move(action)));
}

}  // namespace velmora::tool
