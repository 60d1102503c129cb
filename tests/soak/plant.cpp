// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "soak/plant.h"

#include "serializer/json_format.h"
#include "soak/deliveries.h"
#include "tessaryn/sample_check.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>
#include <Poco/Logger.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <utility>

namespace soak {

using namespace tessaryn;
using serialization::NodeRef;
using serialization::NodeTree;
using serialization::Serializer;

namespace {

constexpr int lineCount = 240;
constexpr int lineLength = 48;
constexpr unsigned int crowdSize = 10'000;
const Serializer<NodeRef> serializer;

enum Entry : unsigned short { number, values, text, even, check };

void Declare(StreamType& type) {
    type.Add("number", Int64, 1)
        .Add("values", Double, 4)
        .Add("text", String, 0)
        .Add("even", Bool, 1)
        .Add("check", Int64, 1);
}

void Fill(Sample& sample, long long value) {
    sample.Set(number, 0, value);
    sample.Resize(values, 4);
    for (unsigned int i = 0; i < 4; ++i) {
        sample.Set(values, i, static_cast<double>(value));
    }
    sample.Set(text, std::string(static_cast<std::size_t>(value % 40), 'x'));
    sample.Set(even, 0, value % 2 == 0);
    sample.Set(check, 0, ~value);
}

bool IsConsistent(const Sample& sample) {
    const long long value = sample.GetInt64(number, 0);
    if (sample.GetInt64(check, 0) != ~value || sample.GetBool(even, 0) != (value % 2 == 0) ||
        sample.GetSize(values) != 4) {
        return false;
    }
    for (unsigned int i = 0; i < 4; ++i) {
        if (sample.GetDouble(values, i) != static_cast<double>(value)) {
            return false;
        }
    }
    return sample.GetString(text) == std::string(static_cast<std::size_t>(value % 40), 'x');
}

// No sample is torn. If ordered, the numbers ascend but for one descent where the ring wraps.
void ExpectConsistent(const std::vector<Sample*>& samples, Referee& referee, bool ordered) {
    int descents = 0;
    long long last = 0;
    for (const Sample* sample : samples) {
        referee.Expect(IsConsistent(*sample), "a reader saw a torn sample");
        const long long value = sample->GetInt64(number, 0);
        descents += value <= std::exchange(last, value) ? 1 : 0;
    }
    referee.Expect(descents <= 1 || !ordered, "a reader saw samples out of order");
}

std::string GuestPath(Random& random) {
    return "guests/g" + std::to_string(random() % 8) + "/s" + std::to_string(random() % 6);
}

std::string GuestType(Random& random) {
    return "guests/T" + std::to_string(random() % 12);
}

// A subscriber that exists for one notification or a few.
class Visitor {
  public:
    explicit Visitor(Referee& referee) : referee(referee) {}
    Visitor(const Visitor&) = delete;
    Visitor& operator=(const Visitor&) = delete;
    ~Visitor() { alive = false; }

    void OnChange(SubscriptionArgs& args) {
        referee.Expect(alive, "a subscriber was notified after it was destroyed");
        referee.Expect(IsConsistent(*args.sample), "a subscriber saw a torn sample");
        ++notified;
    }
    long long Notified() const { return notified; }

  private:
    Referee& referee;
    std::atomic<bool> alive = true;
    long long notified = 0;
};

}  // namespace

void Line::OnChange(SubscriptionArgs& args) {
    ++notified[args.changeType];
    referee->Expect(IsConsistent(*args.sample), "a subscriber saw a torn sample");
    if (args.changeType != pushed) {
        return;
    }
    referee->Expect(args.sample->GetInt64(number, 0) == notified[pushed],
                    "a push was not notified");
    even += args.sample->GetBool(soak::even, 0) ? 1 : 0;
}

Plant::Plant(Referee& referee)
    : referee(referee),
      types(Poco::Logger::root(), '/'),
      streams(Poco::Logger::root(), '/'),
      type(&types.Add("Reading")->Add({1, 0, 0})) {
    Declare(*type);
    for (int i = 0; i < lineCount; ++i) {
        Line& line = *lines.emplace_back(std::make_unique<Line>());
        const std::string path =
            "plant/hall" + std::to_string(i % 10) + "/line" + std::to_string(i);
        line.referee = &referee;
        line.stream = streams.AddStream(path, type, 1 + i % lineLength);
        line.stream->Subscribe({Always(), Poco::delegate(&line, &Line::OnChange)});
        line.stream->Subscribe({Expression("pushed() && even == true && values >= 0.0"),
                                Poco::delegate(&line, &Line::OnEven)});
        line.stream->Subscribe({And(Expression("number < 0 || text.size >= 40"), Always()),
                                Poco::delegate(&line, &Line::OnNever)});
    }
    crowd = streams.AddStream("plant/crowd", type, lineLength);
    for (unsigned int i = 0; i < crowdSize; ++i) {
        const std::string rule = "number == " + std::to_string(i) + " && values[1] >= 0";
        crowd->Subscribe({Expression(rule), Poco::delegate(this, &Plant::OnCrowd)});
    }
    deliveries = std::make_unique<Deliveries>(referee, lines);
}

Plant::~Plant() = default;

void Plant::Push(Random& random) {
    Line& line = AnyLine(random);
    line.stream->PushNew([&](Sample& sample) { Fill(sample, ++line.pushes); });
}

void Plant::PushFromPeer(Random& random) {
    Line& line = AnyLine(random);
    line.stream->AtomicExecute([&] {
        Sample sent(type, Poco::Timestamp());
        Fill(sent, line.pushes + 1);
        std::stringstream bytes;
        sent.Serialize(bytes);
        std::string block = bytes.str();
        const bool damaged = random() % 4 == 0;
        if (damaged && random() % 2 == 0) {
            block.resize(random() % block.size());
        } else if (damaged) {
            block[random() % (2 * sizeof(unsigned int))] ^= '\x5a';
        }
        const bool refused = !CheckSample(block, *type).empty();
        referee.Expect(refused == damaged, "the check of bytes was wrong");
        if (!refused) {
            ++line.pushes;
            if (random() % 2 == 0) {
                line.stream->PushNew(bytes, this);
            } else {
                line.stream->PushNew(new Sample(sent));
            }
        }
    });
}

void Plant::Pop(Random& random) {
    // Fewer pops than pushes, or the rings would run empty.
    for (int i = 0; i < 6; ++i) {
        Read(random);
    }
    Line& line = AnyLine(random);
    line.stream->AtomicExecute([&] {
        if (random() % 64 == 0) {
            ++line.clears;
            line.stream->Clear(1);
        }
        line.pops += line.stream->IsEmpty() ? 0 : 1;
        line.stream->PopLatest();
    });
}

void Plant::Change(Random& random) {
    Line& line = AnyLine(random);
    line.stream->AtomicExecute([&] {
        if (line.stream->IsEmpty()) {
            return;
        }
        ++line.changes;
        if (random() % 2 == 0) {
            std::stringstream bytes;
            line.stream->GetLatest([&](const Sample& sample) { sample.Serialize(bytes); });
            line.stream->DeserializeLatest(bytes, this);
            return;
        }
        line.stream->ChangeLatest(
            [](Sample& sample) {
                const long long value = sample.GetInt64(number, 0);
                Fill(sample, value + 1);
                sample.Resize(values, 200);
                Fill(sample, value);
            },
            true);
    });
}

void Plant::Read(Random& random) {
    const Stream& stream = *AnyLine(random).stream;
    const auto look = [&](const std::vector<Sample*>& samples) {
        ExpectConsistent(samples, referee, true);
    };
    const Poco::Timestamp now;
    const Poco::Timespan span(static_cast<Poco::Timespan::TimeDiff>(random() % 100000));
    switch (random() % 4) {
        case 0:
            return stream.GetAll(look);
        case 1:
            return stream.GetSince(now - span, look);
        case 2:
            return stream.GetBetween(now - span - span, now - span, look);
        default:
            return stream.GetLast(span, look);
    }
}

void Plant::Visit(Random& random) {
    Line& line = AnyLine(random);
    Visitor visitor(referee);
    const StreamSubscription subscription(
        random() % 2 == 0
            ? Expression("number > 0 && (pushed() || check.size == 1) ^^ nosuch.exists == true")
            : Not(HasStreamChangeType(popped)),
        Poco::delegate(&visitor, &Visitor::OnChange));
    line.stream->Subscribe(subscription);
    line.stream->PushNew([&](Sample& sample) { Fill(sample, ++line.pushes); });
    line.stream->Unsubscribe(subscription);
    referee.Expect(visitor.Notified() > 0, "a subscriber was not notified");
}

// Exactly one of thousands of rules holds, and one that comes and goes, found by the same value.
void Plant::UseCrowd(Random& random) {
    Visitor visitor(referee);
    const auto value = static_cast<long long>(random() % crowdSize);
    const std::string number = std::to_string(value);
    const StreamSubscription subscription(
        Expression(random() % 2 == 0 ? "number == " + number : "check < 0 && number >= " + number),
        Poco::delegate(&visitor, &Visitor::OnChange));
    crowd->AtomicExecute([&] {
        const bool isVisited = random() % 4 == 0;
        if (isVisited) {
            crowd->Subscribe(subscription);
        }
        const long long before = crowdCalls;
        crowd->PushNew([&](Sample& sample) { Fill(sample, value); });
        referee.Expect(crowdCalls == before + 1, "not one of the crowd was notified");
        if (isVisited) {
            crowd->Unsubscribe(subscription);
        }
        referee.Expect(visitor.Notified() == (isVisited ? 1 : 0), "a visitor was not notified");
    });
}

void Plant::AddGuest(Random& random) {
    StreamTypeCollection* const collection = types.GetPtr(GuestType(random));
    if (collection != nullptr) {
        streams.AddStream(GuestPath(random), collection->GetLatestPtr(), 1 + random() % 9L);
    }
}

// Adds and removes types, but none that a stream uses.
void Plant::ChangeTypes(Random& random) {
    const std::string path = GuestType(random);
    StreamTypeCollection* const collection = types.GetPtr(path);
    if (collection == nullptr) {
        Declare(types.Add(path)->PushNew({1, 0, 0}));
    } else if (!streams.IsStreamTypeInUse(collection)) {
        referee.Expect(types.Remove(path), "a type could not be removed");
    }
}

void Plant::ChangeGroups(Random& random) {
    streams.AtomicExecute([&] {
        types.AtomicExecute([&] {
            const unsigned long action = random() % 40;
            if (action == 0) {
                streams.Remove("guests");
            } else if (action < 10) {
                streams.Remove(GuestPath(random));
            } else if (action < 12) {
                const std::string path = GuestPath(random);
                streams.Remove(path.substr(0, path.rfind('/')));
            } else if (action < 20) {
                ChangeTypes(random);
            } else {
                AddGuest(random);
            }
        });
    });
}

void Plant::UseGuest(Random& random) {
    streams.AtomicExecute([&] {
        Stream* const guest = streams.GetStreamPtr(GuestPath(random));
        if (guest == nullptr) {
            return;
        }
        const long long value = static_cast<long long>(random());
        guest->PushNew([&](Sample& sample) { Fill(sample, value); });
        guest->GetLatest([&](const Sample& sample) {
            referee.Expect(sample.GetInt64(number, 0) == value, "a guest's push was lost");
        });
        guest->GetAll([&](const std::vector<Sample*>& samples) {
            ExpectConsistent(samples, referee, false);
        });
    });
}

void Plant::Write(Random& random) {
    NodeTree tree;
    NodeRef root = tree.GetRoot();
    if (random() % 2 == 0) {
        streams.Serialize(serializer, root);
        std::ostringstream out;
        serialization::WriteJson(tree, out);
        return;
    }
    streams.AtomicExecute([&] {
        types.AtomicExecute([&] {
            streams.Serialize(serializer, root);
            const StreamRepository copy(Poco::Logger::root(), serializer, root, types);
            copy["plant/hall3/line3"].GetAll([&](const std::vector<Sample*>& samples) {
                ExpectConsistent(samples, referee, true);
            });
        });
    });
}

void Plant::Deliver(Random& random) {
    deliveries->Replace(random);
}

void Plant::ExpectBalance() {
    deliveries->ExpectBalance();
    for (const auto& line : lines) {
        referee.Expect(line->notified[pushed] == line->pushes, "pushes were not notified");
        referee.Expect(line->notified[popped] == line->pops, "pops were not notified");
        referee.Expect(line->notified[changed] == line->changes, "changes were not notified");
        referee.Expect(line->notifiedEven == line->even, "a rule chose the wrong pushes");
        referee.Expect(line->notifiedNever == 0, "a rule applied that never does");
        line->stream->GetAll([&](const std::vector<Sample*>& samples) {
            ExpectConsistent(samples, referee, true);
            const auto isLast = [&](const Sample* sample) {
                return sample->GetInt64(number, 0) == line->pushes;
            };
            referee.Expect(line->pops + line->clears > 0 || line->pushes == 0 ||
                               std::any_of(samples.begin(), samples.end(), isLast),
                           "the last push is lost");
        });
    }
}

}  // namespace soak
