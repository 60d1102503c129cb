// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/action_queue.h"
#include "serve/serve_config.h"

#include <Poco/URI.h>

#include <mutex>
#include <optional>
#include <string>

namespace Poco::Net {
class HTTPClientSession;
}

namespace velmora::tool {

/// Posts each event as JSON to an address, on its own thread.
///
/// A status of 2xx is a success; 4xx, except for 408 and 429, is a final failure. Otherwise the
/// request is tried again after a pause.
class WebhookAction : public Action {
  public:
    WebhookAction(const WebhookConfig& config, ServiceLog& log);
    void Take(const std::shared_ptr<const Event>& event) override { queue.Push(event); }
    void Tick() override;
    void Close(Clock::time_point until) override { queue.Close(until); }

  private:
    void Post(const Event& event);
    bool TryPost(const Event& event, std::string& failure);
    int Send(Poco::Net::HTTPClientSession& session, const std::string& body) const;
    void Abort(bool onlyLate);

    WebhookConfig config;
    Poco::URI url;
    std::mutex sessionMutex;
    // The current request. Guarded by that mutex.
    Poco::Net::HTTPClientSession* session = nullptr;
    Clock::time_point due;
    // The last member, since its thread uses the others.
    ActionQueue queue;
};

}  // namespace velmora::tool
