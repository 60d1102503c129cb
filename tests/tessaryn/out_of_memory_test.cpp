// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Every allocation of every public operation fails once: the exception passes, nothing leaks or
// dangles, and what was there before is still there.

#include "support/allocation_probe.h"
#include "support/documents.h"
#include "support/exported_functions.h"
#include "support/node_builder.h"
#include "support/samples.h"
#include "support/subscribers.h"
#include "tessaryn/document.h"
#include "tessaryn/document_form.h"
#include "tessaryn/errors.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_names.h"
#include "tessaryn/rules.h"
#include "tessaryn/sample_batch.h"
#include "tessaryn/sample_check.h"
#include "tessaryn/sample_numbers.h"
#include "tessaryn/sample_texts.h"
#include "tessaryn/scoped_subscription.h"
#include "tessaryn/snapshot.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Logger.h>
#include <Poco/RegularExpression.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <dlfcn.h>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::NodeRef;
using utils::Version;
// Made one by one: a call whose arguments are two new rules leaks the first where the second fails.
using Rule = std::unique_ptr<ISubscriptionRule>;

const serialization::Serializer<NodeRef> serializer;
// Longer than what a string holds without memory of its own.
const std::string longText = "a text of more characters than fit into a string itself";
constexpr int manyStreams = 40;

// A host in the middle of its work.
struct Host {
    Host() {
        types.Add("area/line/Pos")->Add(Version(1, 0, 0)).Add("x", Int32, 2).Add("s", String, 3);
        type = &types["area/line/Pos"].Get(Version(1, 0, 0));
        spare = &types.Add("area/" + longText + "/Spare")->Add(Version(1, 0, 0));
        spare->Add("x", Int32, 1).Add(longText, Double, 2).Add("z", Int8, 3);
        for (int i = 0; i < manyStreams; ++i) {
            streams.AddStream("area/stream number " + std::to_string(i), type, 3);
        }
        stream = streams.AddStream("area/line/" + longText, type, 3);
        stream->Subscribe({Expression("x[0] == 1 && s == \"none\""), MakeDelegate(0)});
        stream->Subscribe({new TestRule([](SubscriptionArgs&) { return true; }), MakeDelegate(1)});
        for (int i = 0; i < 4; ++i) {
            stream->PushNew(new CountedSample(type, Poco::Timestamp(1000 + i)));
        }
        NodeRef root = saved.GetRoot();
        streams.Serialize(serializer, root);
        asXml = Write(xml, saved);
        asJson = Write(json, saved);
    }

    static TestDelegate MakeDelegate(int target) {
        return {target, [](Stream&, SubscriptionArgs&) {}};
    }

    NodeRef SavedStream() const {
        return saved.GetRoot()["Group"]["Groups"]
            .GetNodes()[0]["Groups"]
            .GetNodes()[0]["Streams"]
            .GetNodes()[0];
    }

    std::string State() const {
        std::string layout = spare->GetHash();
        for (const unsigned int offset : spare->GetMemOffsetLookup()) {
            layout += " " + std::to_string(offset);
        }
        for (const std::string& name : spare->GetEntryNames()) {
            layout += " " + std::to_string(spare->EntryId(name));
        }
        return Written(types) + "\n" + Written(streams) + "\n" + layout;
    }

    Poco::Logger& logger = Poco::Logger::get("memory");
    StreamTypeRepository types{logger, '/'};
    /// A type that no operation removes.
    StreamType ownType;
    StreamRepository streams{logger, '/'};
    StreamType* type = nullptr;
    StreamType* spare = nullptr;
    Stream* stream = nullptr;
    NodeTree saved;
    const std::string bytes = BinaryForm({"12345678", longText});
    std::string asXml;
    std::string asJson;
};

// A collection that lets go of types that it shares with another.
struct SharedTypes : StreamTypeCollection {
    SharedTypes() : StreamTypeCollection(longText, nullptr) {}
    SharedTypes& operator=(const StreamTypeCollection& other) {
        StreamTypeCollection::operator=(other);
        return *this;
    }
    ~SharedTypes() override { objects.clear(); }
};

// What an operation that runs out of memory leaves behind.
enum Guarantee {
    asItWas,     // exactly what was there before
    addsSome,    // what was there before, and perhaps some of what was to be added
    removesSome  // some of what was there before
};

struct Operation {
    const char* name;
    Guarantee guarantee;
    std::function<void(Host&)> run;
};

const auto fill = [](Sample& sample) {
    sample.Set(0, 1, 7);
    sample.Set(1, longText);
};

const Operation operations[] = {
    {"push and fill", addsSome,
     [](Host& h) {
         h.stream->PushNew(fill);
         h.stream->PushNew(new CountedSample(h.type, Poco::Timestamp(5)));
         h.stream->PushNew(serializer, h.SavedStream()["Samples"].GetNodes()[0]);
         h.stream->Fill(serializer, h.SavedStream());
     }},
    {"bytes", addsSome,
     [](Host& h) {
         std::istringstream in(h.bytes + h.bytes);
         h.stream->PushNew(in, nullptr);
         // One of another size.
         h.stream->PushNew([](Sample&) {});
         h.stream->DeserializeLatest(in, nullptr);
     }},
    {"push where samples of other sizes are overwritten", addsSome,
     [](Host& h) {
         for (int i = 0; i < 5; ++i) {
             h.stream->PushNew(fill);
         }
     }},
    {"push a batch", addsSome,
     [](Host& h) {
         const std::vector<Poco::Timestamp::TimeVal> times{5, 6};
         SampleBatch batch = DecodeSamples(*h.type, times, h.bytes + h.bytes);
         Field<std::string>(*h.type, "s").Set(*batch[1], "short");
         h.stream->PushMany(batch);
         SampleBatch made = MakeSamples(*h.type, times);
         const std::array numbers{1, 2};
         made[0]->Set(0, 0, std::span(numbers));
         h.stream->PushMany(made);
         h.stream->PushMany(times, h.bytes + h.bytes);
         auto sample = std::make_unique<Sample>(h.type, Poco::Timestamp(6));
         h.stream->TryPush(std::move(sample));
     }},
    {"change, pop, and clear in hand", addsSome,
     [](Host& h) {
         h.stream->ChangeLatest(fill, true);
         h.stream->PushNew([](Sample&) {});
         // To another size than the notification before was of.
         h.stream->ChangeLatest(fill, false);
         h.stream->PopLatest();
         Sample copy(h.type, Poco::Timestamp(6));
         h.stream->TryPopLatest(&copy);
         h.stream->GetAll(
             [&](const std::vector<Sample*>&) { h.stream->Clear(Stream::clearSamples); });
     }},
    {"query", asItWas,
     [](Host& h) {
         const auto all = [](const std::vector<Sample*>&) {};
         h.stream->GetAll(all);
         h.stream->GetAllInPushOrder(all);
         h.stream->GetSinceInPushOrder(Poco::Timestamp(2), all);
         h.stream->GetSince(Poco::Timestamp(2), all);
         h.stream->GetBetween(Poco::Timestamp(2), Poco::Timestamp(2'000), all);
         h.stream->GetLast(Poco::Timespan(std::numeric_limits<Poco::Int64>::max()), all);
         const auto copy = [](const Sample& latest) { const Sample copied(latest); };
         h.stream->GetLatest(copy);
         h.stream->TryGetLatest(copy);
     }},
    {"subscribe", asItWas,
     [](Host& h) {
         Rule rule(Not(Expression("x == 1 || !s.size")));
         for (auto* const join : {&And, &Or, &Xor}) {
             Rule other(HasStreamChangeType(pushed));
             rule = Rule(join(other.release(), rule.release()));
         }
         StreamSubscription subscription(*rule, Host::MakeDelegate(3));
         subscription = StreamSubscription(*rule, Host::MakeDelegate(2));
         h.stream->Subscribe(subscription);
         h.stream->Unsubscribe({*rule, Host::MakeDelegate(1)});
     }},
    {"subscribe for a scope", asItWas,
     [](Host& h) {
         ScopedSubscription first(
             *h.stream,
             rules::Or(rules::Xor(rules::Always(), rules::Not(rules::Expression("x"))),
                       rules::And(rules::Always(), rules::HasStreamChangeType(pushed))),
             [](SubscriptionArgs&) {});
         h.stream->ChangeLatest([](Sample&) {}, true);
         ScopedSubscription second(std::move(first));
         second.Reset();
     }},
    {"rules", asItWas,
     [](Host& h) {
         const Rule rule(
             Expression("x.front == 0 && !(s.type == \"String\") || x.exists ^^ s.exists"));
         Sample sample(h.type, Poco::Timestamp(5));
         SubscriptionArgs args{pushed, &sample, nullptr};
         rule->Applies(args);
         const Rule clone(rule->Clone());
         CheckRule("x > \"many\" && no_such_entry_in_the_whole_type.exists && f()", *h.type);
         DescribeRule("x[1:2] == 5 && !y");
         DescribeRule("x.size < 2 || f() ^^ b >= 0x12 || c <= \"" + longText + "\"");
         FindEntriesWithoutRuleName(*h.type);
         CheckSample("too short", *h.type);
     }},
    {"use a sample", asItWas,
     [](Host& h) {
         Sample sample(h.type, Poco::Timestamp(5));
         fill(sample);
         sample.Resize(0, 9);
         Sample copy(sample);
         copy = sample;
         Sample moved(std::move(copy));
         moved = std::move(sample);
         moved.GetString(1);
         Sample number(h.spare, Poco::Timestamp(5));
         number.Set(1, 0, "-1.23456789012345e-100 and no more");
         ToString(&number, longText, 0);
         const NodeTree tree;
         NodeRef node = tree.GetRoot();
         moved.Serialize(serializer, node);
         const Sample read(h.type, serializer, node);
         SetNumbers(moved, 0, 0, std::vector<double>(9, 7.0));
         GetNumber<std::uint8_t>(moved, 0, 1);
         SetTexts(moved, 1, std::vector<std::string_view>{"other"});
         std::stringstream bytes;
         moved.Serialize(bytes);
         moved.Deserialize(bytes);
     }},
    {"make a type", asItWas,
     [](Host& h) {
         StreamType copy(*h.type);
         copy.Add(longText, Double, 1).Add("y", Int8, 1);
         copy.Remove(0);
         copy.GetEntryNames();
         copy = *h.type;
         copy.IsHashCompatible(copy.GetHash());
     }},
    {"add to types", addsSome,
     [](Host& h) {
         h.types["Any"].GetLatestPtr()->Add(longText, Double, 1);
         h.types.Add("area/" + longText)->Add(Version(1, 0, 0));
         h.types["area/line/Pos"].PushNew(Version(0, 1, 0));
         h.types["area/line/Pos"].Add(Version(0, 0, 1));
     }},
    {"remove an entry", asItWas, [](Host& h) { h.spare->Remove(0); }},
    {"describe types", asItWas,
     [](Host& h) {
         const StreamTypeCollection& collection = h.types["area/" + longText + "/Spare"];
         collection.GetFullName();
         h.spare->GetFullName();
         h.spare->GetName();
         h.spare->GetEntry(h.spare->EntryId(longText));
         NodeTree tree;
         NodeRef root = tree.GetRoot();
         h.types.Serialize(serializer, root);
         StreamTypeRepository read(h.logger, serializer, root);
         read.Fill(serializer, root);
         StreamTypeCollectionGroup group(longText, nullptr);
         group.Fill(serializer, root["Group"]);
         group.Add(longText);
         read.Remove("area/" + longText);
         read.Clear();
     }},
    {"refuse", asItWas,
     [](Host& h) {
         const auto expectThrow = [](auto refused) {
             try {
                 refused();
                 ADD_FAILURE() << "nothing was thrown";
             } catch (const BaseException&) {
             } catch (const std::logic_error&) {
             } catch (const Poco::SyntaxException& error) {
                 const std::unique_ptr<Poco::Exception> copy(error.clone());
                 try {
                     copy->rethrow();
                 } catch (const Poco::SyntaxException&) {
                 }
             }
         };
         Sample sample(h.type, Poco::Timestamp(5));
         double value = 0;
         expectThrow([&] { sample.GetDouble(0, 0); });
         expectThrow([&] { SetNumber(sample, 0, 0, 1e300); });
         expectThrow([&] { GetNumbers(sample, 0, 99, std::span(&value, 1)); });
         expectThrow([&] { Field<float>(*h.type, "x"); });
         expectThrow([&] { Field<int>(*h.type, "x")(Sample()); });
         expectThrow([&] { Expression("x == 1 &&& s"); });
         expectThrow([&] { Stream(&h.ownType, 1).GetLatest([](const Sample&) {}); });
         const BuiltTree wrong(
             {Value("Type", "area/line/Pos"), Value("MaxSize", "1"),
              List("Samples", {List("Sample", {List("Entries", {Value("Entry", "?")})})})});
         expectThrow([&] { Stream(serializer, wrong.Root(), h.types); });
         expectThrow([&] { ReadStream(h.types, wrong.Root()); });
         const std::string path = "no/" + longText;
         expectThrow([&] { h.spare->EntryId(longText + "?"); });
         expectThrow([&] { h.types[path]; });
         expectThrow([&] { h.types.Get(path); });
         expectThrow([&] { h.types.Resolve(path); });
         expectThrow([&] { h.types.GetGroup(path); });
         expectThrow([&] { h.types.GetRoot().Get(longText); });
         expectThrow([&] { h.types["area/line/Pos"].SetParent(nullptr); });
         expectThrow([&] { h.streams[path]; });
         expectThrow([&] { h.streams.GetStream(path); });
         expectThrow([&] { h.streams.GetGroup(path); });
         expectThrow([&] { h.streams.GetRoot().GetStream(longText); });
         h.types.GetPtr("area/" + longText);
         h.types.ResolvePtr("area/" + longText);
         h.types.GetGroupPtr("area/" + longText);
         h.streams.GetGroupPtr("area/" + longText);
     }},
    {"visit and write streams", asItWas,
     [](Host& h) {
         h.streams.PathOf(*h.stream);
         h.streams.ForEachStream([](const std::string&, Stream&) {});
         h.streams.VisitStream("area/" + longText, [](Stream&) {});
         NodeTree tree;
         NodeRef root = tree.GetRoot();
         h.streams.Serialize(serializer, root);
     }},
    {"add versions and groups", addsSome,
     [](Host& h) {
         StreamTypeCollection& collection = h.types["area/" + longText + "/Spare"];
         collection.PushCopy(*h.spare, Version(0, 1, 0));
         // Shares the types, so it must not delete them.
         const auto shared = std::make_unique<SharedTypes>();
         *shared = collection;
     }},
    {"add groups and samples", addsSome,
     [](Host& h) {
         h.types.AddGroup("area/" + longText + "/below");
         h.streams.AddGroup("area/" + longText + "/below");
         StreamGroup& group = h.streams.GetGroup("area/line");
         group.AddStream("new", h.type, 3);
         group.AddStream(serializer, h.SavedStream(), h.types);
         h.streams.GetRoot().AddSamplesToExistingStreams(serializer, h.saved.GetRoot()["Group"],
                                                         h.types);
     }},
    {"look up", asItWas,
     [](Host& h) {
         h.streams.GetStreamPtr("area/line/" + longText);
         h.types.FindByFullName("area.line.Pos");
         h.types.GetGroup("area").GetAllGroupPtrs();
         h.streams.GetGroup("area/line").GetFullName();
         h.streams.GetGroup("area/line").GetItemNames();
         h.streams.IsStreamTypeInUse(h.type);
     }},
    {"add streams", addsSome,
     [](Host& h) {
         h.streams.AddStream("area/line/new", new Stream(h.type, 5));
         h.streams.AddStream("area/" + longText + "/new", h.type, 5);
         h.streams.AddStream(serializer, h.SavedStream(), h.types);
         for (int i = 0; i < manyStreams; ++i) {
             h.streams.AddStream("area/another stream " + std::to_string(i), h.type, 5);
         }
     }},
    {"remove streams", removesSome,
     [](Host& h) {
         for (int i = 0; i < manyStreams; ++i) {
             h.streams.Remove("area/stream number " + std::to_string(i));
         }
         h.streams.Remove("area/line");
     }},
    {"clear and remove types", removesSome,
     [](Host& h) {
         h.streams.GetGroup("area/line").Clear();
         h.streams.Clear();
         h.types.GetGroup("area").RemoveAllTypesOfVersion(Version(1, 0, 0));
     }},
    {"XML documents", asItWas,
     [](Host& h) {
         std::stringstream text;
         WriteXmlDocument(h.types, h.streams, text);
         ReadXmlDocument(text);
     }},
    {"JSON documents", asItWas,
     [](Host& h) {
         std::stringstream text;
         WriteJsonDocument(h.types, h.streams, text);
         ReadJsonDocument(text);
     }},
    {"snapshots", asItWas,
     [](Host& h) {
         std::stringstream bytes;
         WriteSnapshot(h.types, h.streams, bytes);
         ReadSnapshot(bytes);
     }},
    {"documents", asItWas,
     [](Host& h) {
         const NodeTree tree;
         NodeRef node = tree.GetRoot().AddNode("Types", serialization::NodeList);
         WriteStreamTypes(h.types, node);
         const auto types = ReadStreamTypes(node);
         NodeRef streams = tree.GetRoot().AddNode("Streams", serialization::NodeList);
         WriteStreams(h.streams, streams);
         ReadStreams(*types, streams);
         NodeRef stream = tree.GetRoot().AddNode("Stream", serialization::NodeList);
         WriteStream(*h.stream, stream);
         const auto read = ReadStream(*types, stream);
         read->GetLatest([&](const Sample& latest) {
             const NodeTree own;
             NodeRef sample = own.GetRoot();
             WriteSample(latest, sample);
             Restamped(ReadSample(*h.type, sample), Poco::Timestamp(7));
         });
     }},
    {"read a repository", addsSome,
     [](Host& h) {
         StreamRepository other(h.logger, serializer, h.saved.GetRoot(), h.types);
         h.streams.Fill(serializer, h.saved.GetRoot(), h.types);
     }},
    {"XML", asItWas, [](Host& h) { Write(xml, Read(xml, h.asXml)); }},
    {"JSON", asItWas, [](Host& h) { Write(json, Read(json, h.asJson)); }},
};

// Exported functions that need no memory, or none but for a text as long as the host's.
const Poco::RegularExpression withoutAllocation(
    "^(?:StreamGroup::GetStreamPtr|Stream(Type)?Repository::(GetRoot|IsEmpty|groupSeparator)|"
    "StreamType::(EntryExists|GetHash|HasSameLayout|IsHashCompatible|NextLayoutNumber|Swap)|"
    "StreamTypeCollectionGroup::(GetPtr|RemoveAllTypesOfVersion)|"
    "Stream::(CheckLayout|CheckSample|CountPushes|CountSubscriptions|Discard|GetNumSamples|IsEmpty|"
    "LimitLent|"
    "Unsubscribe)|"
    "Sample::(EntryId|Get(Bool|Float|U?Int[0-9]+|SerializedSizeInBytes|Size|StreamType)|"
    "PositionInDerived|SetSpan|Swap)|detail::FieldBase::(IdOf|Stamp)|"
    "StreamSubscription::(NotifyIfRuleApplies|operator==?)|Document::(Document|operator=)|"
    "ScopedSubscription::(Reset|operator=)|CallbackDelegate::(disable|equals|notify)|"
    "Always|GetTypeFromString|IsRuleName|Restamped|SetTimeStamp|SizeOf|TypesAreCompatible)$");

// Used by the functions of rules.h, rule_check.h and the repositories, which are tried.
const Poco::RegularExpression internal(
    "^(?:(RL|[A-Za-z]*(Private|Rule|Token|Value)::).*|valueOf)$");

// Whether the host still does all that it should, whatever has been added or removed.
void ExpectWorks(Host& host) {
    const StreamTypeCollection* const added = host.types.GetPtr("area/" + longText);
    EXPECT_TRUE(added == nullptr || !added->GetFullName().empty());
    if (const StreamTypeCollection* const pos = host.types.GetPtr("area/line/Pos")) {
        for (const StreamType* type : pos->GetAll()) {
            EXPECT_EQ(pos->GetPtr(type->GetVersion()), type) << "versions and types out of step";
        }
        EXPECT_EQ(pos->GetLatestVersion(), pos->GetLatest().GetVersion());
    }
    Stream* const stream = host.streams.GetStreamPtr("area/line/" + longText);
    if (stream != nullptr) {
        EXPECT_TRUE(LocksAreFree(*stream));
        stream->PushNew(fill);
        stream->GetAll([](const std::vector<Sample*>& samples) {
            for (const Sample* sample : samples) {
                EXPECT_LE(sample->GetSize(1), longText.size());
            }
        });
        stream->PopLatest();
    }
    EXPECT_NO_THROW(Written(host.streams));
    host.streams.AddStream("area/line/one more", &host.ownType, 1);
    EXPECT_NE(host.streams.GetStreamPtr("area/line/one more"), nullptr);
}

// How many of the many streams can be found.
std::size_t Found(const Host& host) {
    const StreamGroup* const group = host.streams.GetGroupPtr("area");
    std::size_t found = 0;
    for (int i = 0; group != nullptr && i < manyStreams; ++i) {
        if (group->ItemExists("stream number " + std::to_string(i))) {
            ++found;
        }
    }
    return found;
}

// The library's functions in which an allocation has failed, by their names in the namespace.
class FailedFunctions {
  public:
    void Add(std::span<void* const> calls) {
        for (void* const call : calls) {
            Dl_info info{};
            if (seen.insert(call).second && dladdr(call, &info) != 0 &&
                std::string(info.dli_fname).find(libraryName) != std::string::npos) {
                library = info.dli_fname;
                const std::string name = FunctionName(info.dli_sname ? info.dli_sname : "");
                if (name.starts_with(prefix)) {
                    names.insert(name.substr(prefix.size()));
                }
            }
        }
    }

    void Expect() const {
        const std::set<std::string> exported = ExportedFunctions(library, prefix);
        std::size_t expected = 0;
        for (const std::string& name : exported) {
            if (internal.match(name)) {
                continue;
            }
            ++expected;
            const bool isListed = withoutAllocation.match(name);
            EXPECT_NE(names.count(name) == 1, isListed)
                << name << (isListed ? " does allocate" : " is not tried: add it to an operation");
        }
        EXPECT_GT(expected, 100U);
    }

  private:
    const std::string libraryName = "libvelmora_tessaryn.so";
    const std::string prefix = "velmora::core::tessaryn::";
    std::set<void*> seen;
    std::set<std::string> names;
    std::string library;
};

TEST(OutOfMemory, LosesNothingWhereverItStrikes) {
    FailedFunctions failedFunctions;
    for (const Operation& operation : operations) {
        SCOPED_TRACE(operation.name);
        long failAt = 0;
        for (bool isReached = true; isReached; ++failAt) {
            SCOPED_TRACE("allocation " + std::to_string(failAt));
            Host host;
            const std::string before = host.State();
            bool failed = true;
            try {
                const AllocationProbe probe(failAt);
                operation.run(host);
                failed = false;
            } catch (const std::bad_alloc&) {
            } catch (const StreamCreateException&) {
            } catch (const serialization::SerializationException&) {
                // A standard stream keeps the exception to itself and goes bad.
            }
            isReached = AllocationProbe::Count() > failAt;
            failedFunctions.Add(AllocationProbe::CallsOfFailure());
            if (failed && operation.guarantee == asItWas) {
                ASSERT_EQ(host.State(), before);
            }
            if (operation.guarantee != removesSome) {
                ASSERT_EQ(Found(host), std::size_t{manyStreams});
            } else if (const StreamGroup* const group = host.streams.GetGroupPtr("area")) {
                ASSERT_EQ(Found(host), group->GetAllItemPtrs().size());
            }
            ExpectWorks(host);
        }
        EXPECT_GT(failAt, 1) << "there is no allocation";
    }
    EXPECT_EQ(CountedSample::live + TestDelegate::live + TestRule::live, 0);
#ifndef __OPTIMIZE__
    // Optimised calls may leave no trace on the stack.
    failedFunctions.Expect();
#endif
}

}  // namespace
}  // namespace velmora::core::tessaryn

// POCO's parser loses a part of its own when it runs out of memory.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:Poco::XML::ParserEngine::pushContext";
}
