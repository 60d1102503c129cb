// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/rule_program.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/stream_subscription.h"
#include "tessaryn/subscription_args.h"

#include <optional>

namespace velmora::core::tessaryn {

/// One change of a stream on its way to the subscriptions: the shared record, and the copy of the
/// sample that it points to.
///
/// Subscribers never get hold of a stored sample, and what one of them changes in the copy, later
/// ones see. The copy is put off until somebody could tell: rules of the library only read, and
/// read the same from a plain sample as from its copy. The first delegate, or the first rule of a
/// host, has it made. A sample of a derived class may answer for itself until it is copied, so
/// there the copy comes first.
///
/// \threadsafety external: lives on the stack of the thread that changed the stream, under its
/// locks
class Notification {
  public:
    /// \param type what happened
    /// \param changedSample \ownership observes: the stored sample
    /// \param sender the caller's value
    Notification(StreamChangeType type, const Sample& changedSample, void* sender)
        // Nobody changes the stored sample through the record: see Tell.
        : stored(changedSample), args{type, const_cast<Sample*>(&changedSample), sender} {
        if (!SampleView::IsPlain(stored)) {
            Copy();
        }
    }

    /// Calls the subscription's delegate if its rule applies, the rule first.
    /// \param subscription who is told; not used any more once the host's code has run, which may
    /// move it
    /// \param stream the delegate's sender
    /// \throws what the rule or the delegate throws
    void Tell(const StreamSubscription& subscription, void* stream) {
        auto* const delegate = subscription.delegate;
        if (!Applies(subscription)) {
            return;
        }
        Copy();
        view.reset();
        delegate->notify(stream, args);
    }

  private:
    bool Applies(const StreamSubscription& subscription) {
        if (!subscription.pureRule) {
            Copy();
            view.reset();
            return subscription.rule->Applies(args);
        }
        if (subscription.plan == nullptr) {
            return subscription.rule->Applies(args);
        }
        // One view does for all rules between two calls of the host, which may change the sample.
        if (!view) {
            if (!SampleView::IsPlain(*args.sample)) {
                return subscription.plan->Holds(args);
            }
            view.emplace(*args.sample);
        }
        return subscription.plan->Holds(*view, args);
    }

    void Copy() {
        if (copy) {
            return;
        }
        args.sample = &copy.emplace(stored);
        view.reset();
    }

    const Sample& stored;
    SubscriptionArgs args;
    std::optional<SampleView> view;
    std::optional<Sample> copy;
};

}  // namespace velmora::core::tessaryn
