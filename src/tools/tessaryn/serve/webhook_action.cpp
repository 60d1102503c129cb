// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/webhook_action.h"

#include "command_error.h"
#include "text/escaped_text.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>

namespace velmora::tool {

namespace {

constexpr int requestTimeout = 408;
constexpr int tooManyRequests = 429;

bool IsFinal(int status) {
    return status / 100 == 4 && status != requestTimeout && status != tooManyRequests;
}

}  // namespace

WebhookAction::WebhookAction(const WebhookConfig& config, ServiceLog& log)
    : config(config),
      url(config.url),
      queue({"webhook " + Quoted(config.name), 1, config.maxWaiting, [this] { Abort(false); }}, log,
            [this](const Event& event) { Post(event); }) {}

void WebhookAction::Tick() {
    Abort(true);
}

// Ends the current request: its timeouts apply to each step, not to the whole.
void WebhookAction::Abort(bool onlyLate) {
    const std::lock_guard lock(sessionMutex);
    if (session != nullptr && (!onlyLate || Clock::now() > due)) {
        session->abort();
    }
}

void WebhookAction::Post(const Event& event) {
    std::string failure;
    std::chrono::milliseconds pause(1000);
    for (std::size_t i = 1; i <= config.tries; ++i) {
        if (TryPost(event, failure)) {
            return;
        }
        if (i < config.tries && !queue.Pause(pause)) {
            break;
        }
        pause *= 2;
    }
    throw CommandError(config.url + ": " + failure);
}

// Returns false if the request should be tried again.
bool WebhookAction::TryPost(const Event& event, std::string& failure) {
    Poco::Net::HTTPClientSession request(url.getHost(), url.getPort());
    const Poco::Timespan timeout(config.timeout.count());
    request.setTimeout(timeout, timeout, timeout);
    const auto use = [this](Poco::Net::HTTPClientSession* used) {
        const std::lock_guard lock(sessionMutex);
        session = used;
        due = Clock::now() + config.timeout;
    };
    use(&request);
    int status = 0;
    try {
        if (queue.IsGivenUp()) {
            throw CommandError("the service ends");
        }
        status = Send(request, event.json);
    } catch (const Poco::Exception& error) {
        failure = error.displayText();
    } catch (const std::exception& error) {
        failure = error.what();
    }
    use(nullptr);
    if (status / 100 == 2) {
        return true;
    }
    if (status != 0) {
        failure = "the answer is " + std::to_string(status);
    }
    if (IsFinal(status)) {
        throw CommandError(config.url + ": " + failure);
    }
    return false;
}

int WebhookAction::Send(Poco::Net::HTTPClientSession& request, const std::string& body) const {
    const std::string path = url.getPathAndQuery();
    Poco::Net::HTTPRequest head(Poco::Net::HTTPRequest::HTTP_POST, path.empty() ? "/" : path,
                                Poco::Net::HTTPRequest::HTTP_1_1);
    head.setContentType("application/json");
    head.setContentLength64(static_cast<Poco::Int64>(body.size()));
    head.set("User-Agent", "tessaryn");
    request.sendRequest(head) << body << std::flush;
    Poco::Net::HTTPResponse answer;
    request.receiveResponse(answer);
    return answer.getStatus();
}

}  // namespace velmora::tool
