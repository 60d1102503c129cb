// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/access_token.h"

#include "command_error.h"
#include "text/escaped_text.h"

#include <Poco/Environment.h>
#include <Poco/String.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sys/stat.h>

namespace velmora::tool {

std::string ReadTokenFile(const std::string& path) {
    constexpr std::size_t minLength = 16;
    std::ifstream file(path);
    struct stat status {};
    if (!file || stat(path.c_str(), &status) != 0) {
        throw CommandError("cannot read the token file " + Quoted(path) + ": " +
                           std::strerror(errno));
    }
    if ((status.st_mode & S_IROTH) != 0) {
        throw CommandError("everybody may read the token file " + Quoted(path) +
                           "; chmod o= takes that away");
    }
    std::string token;
    std::getline(file, token);
    Poco::trimInPlace(token);
    const bool isPrintable =
        std::all_of(token.begin(), token.end(), [](char c) { return c > ' ' && c <= '~'; });
    if (token.size() < minLength || !isPrintable) {
        throw CommandError("the token file " + Quoted(path) +
                           " does not begin with a line of at least 16 printable characters");
    }
    return token;
}

std::string FindCredential(const std::string& name) {
    const std::string folder = Poco::Environment::get("CREDENTIALS_DIRECTORY", "");
    if (folder.empty()) {
        throw CommandError("there is no credential " + Quoted(name) +
                           ": the service was not started by systemd with LoadCredential=");
    }
    return folder + "/" + name;
}

}  // namespace velmora::tool
