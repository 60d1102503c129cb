// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

namespace velmora::core::tessaryn {

class Sample;

/// The kind of a change; the numbers are part of the binary interface.
///
/// Overwriting the oldest sample of a full ring and `Stream::Clear` notify nobody.
enum StreamChangeType : unsigned char {
    pushed = 0,  ///< a sample was pushed
    popped = 1,  ///< the newest sample was removed
    changed = 2  ///< the newest sample was changed in place
};

/// One change of a stream, as rules and delegates receive it.
///
/// The stream itself is not part of it: it reaches a delegate as the notification's sender.
///
/// \threadsafety external: the same record goes to every subscription of one notification, one
/// after the other, on the thread that changed the stream. What a delegate writes to a field, later
/// subscriptions see
struct SubscriptionArgs {
    StreamChangeType changeType;
    /// A copy of the sample concerned; never null. \ownership lends: valid only during the
    /// notification. Later subscriptions see the changes that a delegate makes to it; the stream
    /// does not.
    Sample* sample;
    /// The value that the caller gave to `Stream::PushNew(std::istream&, void*)` or
    /// `Stream::DeserializeLatest`; null for every other change.
    void* sender;
};

}  // namespace velmora::core::tessaryn
