// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::inspector {

class EventQueue;

/// Makes a body in parts, so that it is never in memory as a whole, and no stream is locked while
/// it is sent.
///
/// \threadsafety external
class BodySource {
  public:
    BodySource() = default;
    BodySource(const BodySource&) = delete;
    BodySource& operator=(const BodySource&) = delete;
    virtual ~BodySource();
    /// Appends the next part.
    /// \return whether there may be more
    virtual bool Append(std::string& part) = 0;
};

/// What is sent for a request.
///
/// \threadsafety external
struct Answer {
    int status = 200;
    std::string type = "application/json";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers = {};
    /// The rest of the body; null for none.
    std::shared_ptr<BodySource> rest = {};
    /// An event stream that follows and does not end; null for none.
    std::shared_ptr<EventQueue> events = {};
};

/// The answer that says why a request is refused.
Answer MakeError(int status, const std::string& message);
/// An answer that redirects a browser to a relative address: a reverse proxy may serve the
/// inspector below a path of its own.
Answer MakeRedirect(const std::string& place);

/// The first bytes to send: the header and, unless the request asked for the header only, the body.
/// \param isLast whether the connection ends with this answer
std::string FormatAnswer(const Answer& answer, bool withBody, bool isLast);
/// A chunk of a body of unknown length; an empty part ends the body.
std::string FormatChunk(const std::string& part);

}  // namespace velmora::inspector
