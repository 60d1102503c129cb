// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/subject.h"

#include <Poco/Ascii.h>

#include <stdexcept>

namespace velmora::nats {

namespace {

constexpr std::string_view hexDigits = "0123456789ABCDEF";

bool StandsForItself(char c) {
    return Poco::Ascii::isAlphaNumeric(static_cast<unsigned char>(c)) || c == '-' || c == '_';
}

void AppendToken(std::string& subject, std::string_view name) {
    if (name.empty()) {
        subject += '=';
    }
    for (const char c : name) {
        if (StandsForItself(c)) {
            subject += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            subject += {'=', hexDigits[byte >> 4U], hexDigits[byte & 15U]};
        }
    }
}

// Appends the name that a token stands for; false if it stands for none.
bool AppendName(std::string& path, std::string_view token, char separator) {
    if (token == "=") {
        return true;
    }
    const std::size_t before = path.size();
    for (std::size_t i = 0; i < token.size(); ++i) {
        char c = token[i];
        if (c == '=') {
            const std::size_t high =
                i + 2 < token.size() ? hexDigits.find(token[i + 1]) : hexDigits.npos;
            const std::size_t low =
                i + 2 < token.size() ? hexDigits.find(token[i + 2]) : hexDigits.npos;
            if (high == hexDigits.npos || low == hexDigits.npos) {
                return false;
            }
            c = static_cast<char>(high << 4U | low);
            if (StandsForItself(c) || c == separator) {
                return false;
            }
            i += 2;
        } else if (!StandsForItself(c)) {
            return false;
        }
        path += c;
    }
    return path.size() > before;
}

}  // namespace

std::string ToSubject(std::string_view path, char separator) {
    std::string subject;
    for (std::size_t begin = 0;;) {
        const std::size_t end = path.find(separator, begin);
        AppendToken(subject, path.substr(begin, end - begin));
        if (end == std::string_view::npos) {
            return subject;
        }
        subject += '.';
        begin = end + 1;
    }
}

std::string ToPath(std::string_view subject, char separator) {
    std::string path;
    for (std::size_t begin = 0;;) {
        const std::size_t end = subject.find('.', begin);
        if (!AppendName(path, subject.substr(begin, end - begin), separator)) {
            throw std::invalid_argument("No path has the subject '" + std::string(subject) + "'.");
        }
        if (end == std::string_view::npos) {
            return path;
        }
        path += separator;
        begin = end + 1;
    }
}

std::string ToSubjects(std::string_view pattern, char separator) {
    std::string subjects;
    for (std::size_t begin = 0;;) {
        const std::size_t end = pattern.find(separator, begin);
        const std::string_view name = pattern.substr(begin, end - begin);
        if (name == "*" || name == ">") {
            subjects += name;
        } else {
            AppendToken(subjects, name);
        }
        if (end == std::string_view::npos) {
            return subjects;
        }
        subjects += '.';
        begin = end + 1;
    }
}

std::string ToTypeSubject(std::string_view jetStream, std::string_view fingerprint) {
    std::string subject = "=types.";
    AppendToken(subject, jetStream);
    return subject.append(".").append(fingerprint);
}

}  // namespace velmora::nats
