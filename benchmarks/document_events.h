// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/JSON/Handler.h>
#include <Poco/SAX/AttributesImpl.h>
#include <Poco/SAX/DefaultHandler.h>
#include <Poco/XML/XMLWriter.h>

#include <cstddef>
#include <string>
#include <vector>

namespace velmora::benchmarks {

/// Records the events of a SAX parser and replays them.
class XmlEvents : public Poco::XML::DefaultHandler {
  public:
    void startElement(const Poco::XML::XMLString& /*uri*/, const Poco::XML::XMLString& /*local*/,
                      const Poco::XML::XMLString& qname,
                      const Poco::XML::Attributes& given) override {
        EndText();
        events.push_back({Kind::start, qname, attributes.size()});
        attributes.emplace_back(given);
    }
    void endElement(const Poco::XML::XMLString& /*uri*/, const Poco::XML::XMLString& /*local*/,
                    const Poco::XML::XMLString& qname) override {
        EndText();
        events.push_back({Kind::end, qname, 0});
    }
    void characters(const Poco::XML::XMLChar text[], int start, int length) override {
        pending.append(text + start, static_cast<std::size_t>(length));
    }

    void Replay(Poco::XML::XMLWriter& writer) const {
        for (const Event& event : events) {
            switch (event.kind) {
                case Kind::start:
                    writer.startElement("", "", event.text, attributes[event.attributes]);
                    break;
                case Kind::end:
                    writer.endElement("", "", event.text);
                    break;
                case Kind::text:
                    writer.characters(event.text);
                    break;
            }
        }
    }

  private:
    enum class Kind { start, end, text };
    struct Event {
        Kind kind;
        std::string text;
        std::size_t attributes;
    };

    /// Ignored: the writer makes the blanks between elements.
    void EndText() {
        if (pending.find_first_not_of(" \n") != std::string::npos) {
            events.push_back({Kind::text, pending, 0});
        }
        pending.clear();
    }

    std::vector<Event> events;
    std::vector<Poco::XML::AttributesImpl> attributes;
    std::string pending;
};

/// Records the events of a JSON parser and replays them.
class JsonEvents : public Poco::JSON::Handler {
  public:
    void reset() override {}
    void startObject() override { events.push_back({Kind::startObject, "", 0}); }
    void endObject() override { events.push_back({Kind::endObject, "", 0}); }
    void startArray() override { events.push_back({Kind::startArray, "", 0}); }
    void endArray() override { events.push_back({Kind::endArray, "", 0}); }
    void key(const std::string& k) override { events.push_back({Kind::key, k, 0}); }
    void null() override {}
    void value(int v) override { events.push_back({Kind::number, "", v}); }
    void value(unsigned v) override { events.push_back({Kind::number, "", v}); }
    void value(Poco::Int64 v) override { events.push_back({Kind::number, "", v}); }
    void value(Poco::UInt64 v) override {
        events.push_back({Kind::number, "", static_cast<Poco::Int64>(v)});
    }
    void value(const std::string& v) override { events.push_back({Kind::text, v, 0}); }
    void value(double /*v*/) override {}
    void value(bool /*v*/) override {}

    void Replay(Poco::JSON::Handler& handler) const {
        for (const Event& event : events) {
            switch (event.kind) {
                case Kind::startObject:
                    handler.startObject();
                    break;
                case Kind::endObject:
                    handler.endObject();
                    break;
                case Kind::startArray:
                    handler.startArray();
                    break;
                case Kind::endArray:
                    handler.endArray();
                    break;
                case Kind::key:
                    handler.key(event.text);
                    break;
                case Kind::number:
                    handler.value(event.number);
                    break;
                case Kind::text:
                    handler.value(event.text);
                    break;
            }
        }
    }

  private:
    enum class Kind { startObject, endObject, startArray, endArray, key, number, text };
    struct Event {
        Kind kind;
        std::string text;
        Poco::Int64 number;
    };

    std::vector<Event> events;
};

/// Ignores all events.
class Deaf : public Poco::JSON::Handler {
  public:
    void reset() override {}
    void startObject() override {}
    void endObject() override {}
    void startArray() override {}
    void endArray() override {}
    void key(const std::string& /*k*/) override {}
    void null() override {}
    void value(int /*v*/) override {}
    void value(unsigned /*v*/) override {}
    void value(Poco::Int64 /*v*/) override {}
    void value(Poco::UInt64 /*v*/) override {}
    void value(const std::string& /*v*/) override {}
    void value(double /*v*/) override {}
    void value(bool /*v*/) override {}
};

}  // namespace velmora::benchmarks
