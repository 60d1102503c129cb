// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/jet_stream.h"

#include <algorithm>
#include <string_view>

namespace velmora::nats {

namespace {

using StreamInfo = std::unique_ptr<jsStreamInfo, Destroyer<jsStreamInfo_Destroy>>;

std::string_view TakeToken(std::string_view& subject) {
    const std::string_view token = subject.substr(0, subject.find('.'));
    subject.remove_prefix(std::min(token.size() + 1, subject.size()));
    return token;
}

// Whether a subject with wildcards covers another one. The server refuses subjects that overlap.
bool Covers(std::string_view wide, std::string_view narrow) {
    while (!wide.empty() && !narrow.empty()) {
        const std::string_view token = TakeToken(wide);
        const std::string_view other = TakeToken(narrow);
        if (token == ">") {
            return true;
        }
        if (token != other && (token != "*" || other == ">")) {
            return false;
        }
    }
    return wide.empty() && narrow.empty();
}

}  // namespace

JetStream::JetStream(natsConnection* connection, const std::string& name) : name(name) {
    jsCtx* made = nullptr;
    Check(natsConnection_JetStream(&made, connection, nullptr), "use JetStream");
    context.reset(made);
}

void JetStream::Ensure(const std::vector<std::string>& subjects, int replicas) const {
    std::vector<const char*> wanted;
    jsStreamInfo* found = nullptr;
    const natsStatus status =
        js_GetStreamInfo(&found, context.get(), name.c_str(), nullptr, nullptr);
    const StreamInfo info(found);
    jsStreamConfig config;
    jsStreamConfig_Init(&config);
    if (status == NATS_OK) {
        config = *info->Config;
        wanted.assign(config.Subjects, config.Subjects + config.SubjectsLen);
    } else if (status != NATS_NOT_FOUND) {
        Check(status, "ask for the JetStream stream '" + name + "'");
    }
    const std::size_t there = wanted.size();
    for (const std::string& subject : subjects) {
        if (std::none_of(wanted.begin(), wanted.end(),
                         [&](const char* known) { return Covers(known, subject); })) {
            wanted.push_back(subject.c_str());
        }
    }
    if (status == NATS_OK && wanted.size() == there) {
        return;
    }
    config.Name = name.c_str();
    config.Subjects = wanted.data();
    config.SubjectsLen = static_cast<int>(wanted.size());
    if (status == NATS_OK) {
        Check(js_UpdateStream(nullptr, context.get(), &config, nullptr, nullptr),
              "add subjects to the JetStream stream '" + name + "'");
    } else {
        config.Replicas = replicas;
        Check(js_AddStream(nullptr, context.get(), &config, nullptr, nullptr),
              "make the JetStream stream '" + name + "'");
    }
}

Message JetStream::GetLast(const std::string& subject) const {
    natsMsg* message = nullptr;
    auto error = static_cast<jsErrCode>(0);
    const natsStatus status =
        js_GetLastMsg(&message, context.get(), name.c_str(), subject.c_str(), nullptr, &error);
    if (status == NATS_NOT_FOUND || error == JSStreamNotFoundErr) {
        return nullptr;
    }
    Check(status, "ask for the newest message of '" + subject + "'");
    return Message(message);
}

JetStream::State JetStream::GetState() const {
    jsStreamInfo* found = nullptr;
    const natsStatus status =
        js_GetStreamInfo(&found, context.get(), name.c_str(), nullptr, nullptr);
    const StreamInfo info(found);
    if (status == NATS_NOT_FOUND) {
        return {};
    }
    Check(status, "ask for the JetStream stream '" + name + "'");
    return {info->Created, info->State.LastSeq};
}

std::optional<exchange::Frame> FrameOf(natsMsg* message, std::size_t maxPayload) {
    const std::string_view bytes(natsMsg_GetData(message),
                                 static_cast<std::size_t>(natsMsg_GetDataLength(message)));
    const exchange::FrameScan scan = exchange::ScanFrame(bytes, maxPayload);
    if (scan.status != exchange::FrameScan::Status::complete || scan.size != bytes.size()) {
        return std::nullopt;
    }
    return scan.frame;
}

}  // namespace velmora::nats
