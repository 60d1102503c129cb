// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "remote/nats_settings.h"

#include "command_error.h"
#include "text/escaped_text.h"
#include "text/time_text.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace velmora::tool {

namespace {

void CheckName(const char* what, const std::string& name) {
    if (name.find_first_of(" \t\r\n.*>/\\") != std::string::npos) {
        throw CommandError(std::string(what) + " " + Quoted(name) +
                           " has a blank or one of . * > / \\, which NATS does not allow there");
    }
}

void CheckReadable(const char* what, const std::string& path) {
    if (!path.empty() && access(path.c_str(), R_OK) != 0) {
        throw CommandError("cannot read " + std::string(what) + " " + Quoted(path) + ": " +
                           std::strerror(errno));
    }
}

}  // namespace

void SetNatsStart(NatsSettings& settings, const std::string& text) {
    settings.start = text;
    if (text == "newest" || text == "all" || text == "now") {
        return;
    }
    const auto parts = ParseTime(text);
    if (!parts) {
        throw CommandError("the start " + Quoted(text) +
                           " is neither newest, all or now nor a time such as "
                           "2020-01-01T00:00:00Z");
    }
    settings.startTime = parts->time;
}

void CheckNatsSettings(const NatsSettings& settings) {
    if (settings.jetStream.empty()) {
        throw CommandError("the JetStream stream has no name");
    }
    CheckName("the JetStream stream", settings.jetStream);
    CheckName("the durable name", settings.durable);
    CheckReadable("the credentials", settings.credentials);
    CheckReadable("the certificates of authorities", settings.authority);
    CheckReadable("the certificate", settings.certificate);
    CheckReadable("the key", settings.key);
    if (settings.certificate.empty() != settings.key.empty()) {
        throw CommandError(settings.key.empty() ? "the NATS certificate needs its key"
                                                : "the NATS key needs its certificate");
    }
}

}  // namespace velmora::tool
