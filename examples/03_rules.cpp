// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Rules as objects and as text, also by the kind of change. Ends with a text that is not a rule.

#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_type.h"
#include "velmora/tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>
#include <Poco/Exception.h>

#include <iostream>
#include <string>

using namespace velmora::core::tessaryn;

namespace {

// A subscriber that prints its name and each change.
class Listener {
  public:
    explicit Listener(const char* listenerName) : name(listenerName) {}

    void OnChange(SubscriptionArgs& args) {
        static constexpr const char* kinds[] = {"pushed", "popped", "changed"};
        std::cout << name << ": " << kinds[args.changeType] << ' ' << args.sample->GetString(state)
                  << ", " << args.sample->GetInt64(watts, 0) << " W\n";
    }

    static constexpr unsigned short state = 0;
    static constexpr unsigned short watts = 1;

  private:
    std::string name;
};

void Subscribe(Stream& stream, ISubscriptionRule* rule, Listener& listener) {
    stream.Subscribe({rule, Poco::delegate(&listener, &Listener::OnChange)});
}

void Push(Stream& stream, const std::string& state, long long watts) {
    stream.PushNew([&](Sample& sample) {
        sample.Set(Listener::state, state);
        sample.Set(Listener::watts, 0, watts);
    });
}

}  // namespace

int main() {
    StreamType type;
    type.Add("state", String, 0).Add("watts", Int64, 1);
    Stream compressor(&type, 100);

    Listener everything("everything");
    Listener faults("faults");
    Listener corrections("corrections");
    Subscribe(compressor, Always(), everything);
    Subscribe(compressor,
              And(HasStreamChangeType(pushed), Expression("state == \"fault\" || watts > 2000")),
              faults);
    Subscribe(compressor, Expression("!pushed()"), corrections);

    Push(compressor, "idle", 85);
    Push(compressor, "fault", 110);
    compressor.ChangeLatest([](Sample& sample) { sample.Set(Listener::watts, 0, 95LL); }, true);
    compressor.PopLatest();

    try {
        Subscribe(compressor, Expression("watts > limit"), everything);
    } catch (const Poco::SyntaxException& refused) {
        std::cout << "refused: " << refused.message() << '\n';
    }
}
