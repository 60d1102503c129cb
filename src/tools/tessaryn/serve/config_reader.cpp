// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/config_reader.h"

#include "command_error.h"
#include "serve/access_token.h"
#include "serve/config_section_reader.h"
#include "serve/config_text.h"
#include "serve/reaction_config.h"
#include "serve/source_config.h"
#include "storage/document_file.h"
#include "text/escaped_text.h"
#include "text/nearest.h"

#include <Poco/Net/IPAddress.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <map>
#include <utility>

namespace velmora::tool {

namespace {

// Makes a configuration from its sections.
class ConfigBuilder {
  public:
    explicit ConfigBuilder(ConfigMistakes& mistakes) : mistakes(mistakes) {}

    ServeConfig Build(const std::vector<ConfigSection>& sections) {
        for (const ConfigSection& section : sections) {
            Read(section);
            AddToRest(section);
        }
        if (config.sources.empty()) {
            mistakes.Add(0, "there is no source; a section [source.NAME] with a key from has one");
        }
        CheckActions(config.reactions, mistakes);
        return std::move(config);
    }

  private:
    using Reader = void (ConfigBuilder::*)(const ConfigSection&, ConfigSectionReader&);
    struct Kind {
        Reader read;
        bool hasName;
    };

    static const std::map<std::string, Kind>& GetKinds() {
        static const std::map<std::string, Kind> kinds = {
            {"", {&ConfigBuilder::ReadTop, false}},
            {"page", {&ConfigBuilder::ReadPage, false}},
            {"history", {&ConfigBuilder::ReadHistory, false}},
            {"checkpoint", {&ConfigBuilder::ReadCheckpoint, false}},
            {"source", {&ConfigBuilder::ReadSource, true}},
            {"stream", {&ConfigBuilder::ReadStream, true}},
            {"rule", {&ConfigBuilder::ReadRule, true}},
            {"command", {&ConfigBuilder::ReadCommand, true}},
            {"webhook", {&ConfigBuilder::ReadWebhook, true}}};
        return kinds;
    }

    void Read(const ConfigSection& section) {
        const auto kind = GetKinds().find(section.kind);
        if (kind == GetKinds().end()) {
            std::vector<std::string> known;
            for (const auto& [name, ignored] : GetKinds()) {
                known.push_back(name);
            }
            mistakes.Add(section.line, "there is no section " + Quoted(section.kind) +
                                           SuggestNearest(section.kind, known));
            return;
        }
        if (kind->second.hasName == section.name.empty()) {
            mistakes.Add(section.line, kind->second.hasName
                                           ? "[" + section.kind + "] needs a name, as in [" +
                                                 section.kind + ".one]"
                                           : "[" + section.kind + "] has no name behind a dot");
            return;
        }
        const auto [place, isNew] =
            lines.emplace(std::pair(section.kind, section.name), section.line);
        if (!isNew) {
            mistakes.Add(section.line,
                         "the section is in line " + std::to_string(place->second) + " already");
            return;
        }
        ConfigSectionReader reader(section, mistakes);
        (this->*kind->second.read)(section, reader);
    }

    void AddToRest(const ConfigSection& section) {
        if (section.kind == "rule" || section.kind == "command" || section.kind == "webhook") {
            return;
        }
        config.rest += "[" + section.kind + "." + section.name + "]\n";
        for (const ConfigValue& value : section.values) {
            config.rest += value.key;
            for (const std::string& text : value.texts) {
                config.rest += "\n=" + text;
            }
            config.rest += "\n";
        }
    }

    void ReadTop(const ConfigSection& /*section*/, ConfigSectionReader& reader) {
        reader.Text("title", config.title)
            .Number("max-streams", config.maxStreams, 1, 1'000'000)
            .Number("capacity", config.capacity, 1, INT32_MAX)
            .Duration("stop-timeout", config.stopTimeout)
            .Finish();
    }

    void ReadPage(const ConfigSection& /*section*/, ConfigSectionReader& reader) {
        PageConfig& page = config.page;
        bool isLocal = true;
        reader.Single("listen", [&](const std::string& text) { isLocal = ReadListen(text); })
            .Text("token-file", page.tokenFile)
            .Text("credential", page.credential)
            .Texts("hosts", page.hosts)
            .Add("metrics",
                 [&](const ConfigValue& value) {
                     for (const std::string& text : value.texts) {
                         const std::size_t colon = text.find(':');
                         if (colon == 0 || colon == std::string::npos) {
                             throw CommandError(Quoted(text) +
                                                " is not a stream and an entry such as "
                                                "plant/line1:temperature");
                         }
                         page.metrics.emplace_back(text.substr(0, colon), text.substr(colon + 1));
                     }
                 })
            .Finish();
        if (!page.tokenFile.empty() && !page.credential.empty()) {
            mistakes.Add(reader.GetLine("credential"),
                         "token-file and credential exclude each other");
        } else if (!page.tokenFile.empty()) {
            try {
                ReadTokenFile(page.tokenFile);
            } catch (const CommandError& error) {
                mistakes.Add(reader.GetLine("token-file"), error.what());
            }
        } else if (page.credential.empty() && !isLocal) {
            mistakes.Add(reader.GetLine("listen"),
                         "others than this machine reach " + Quoted(page.address) +
                             ", which needs a token; token-file or credential gives one");
        }
    }

    // Whether only this machine reaches the address.
    bool ReadListen(const std::string& text) {
        PageConfig& page = config.page;
        if (text == "none") {
            page.address.clear();
            return true;
        }
        const std::size_t colon = text.rfind(':');
        const std::string host = text.substr(0, colon);
        const bool isBracketed = host.starts_with('[') && host.ends_with(']');
        page.address = isBracketed ? host.substr(1, host.size() - 2) : host;
        const char* const last = text.data() + text.size();
        const char* const port = colon == std::string::npos ? last : text.data() + colon + 1;
        const auto [end, error] = std::from_chars(port, last, page.port);
        Poco::Net::IPAddress address;
        const bool isAddress = Poco::Net::IPAddress::tryParse(page.address, address) &&
                               (address.family() == Poco::Net::IPAddress::IPv6) == isBracketed;
        if (!isAddress || error != std::errc() || end != last) {
            throw CommandError("listen " + Quoted(text) +
                               " is neither an address and a port such as 127.0.0.1:8080 or "
                               "[::1]:8080 nor none");
        }
        return address.isLoopback();
    }

    void ReadHistory(const ConfigSection& /*section*/, ConfigSectionReader& reader) {
        HistoryConfig& history = config.history.emplace();
        std::chrono::microseconds interval = history.options.interval;
        storage::HistoryRetention& retention = history.options.retention;
        reader.Text("file", history.file)
            .Required("file")
            .Duration("max-age", retention.maxAge)
            .Number("max-rows", retention.maxRows, 1, INT64_MAX)
            .Bytes("max-size", retention.maxBytes)
            .Duration("commit-every", interval)
            .Flag("sync", history.options.isSynced)
            .Finish();
        history.options.interval = std::chrono::ceil<std::chrono::milliseconds>(interval);
        if (!history.file.empty() && !history.file.ends_with(".db")) {
            mistakes.Add(reader.GetLine("file"),
                         "file " + Quoted(history.file) + " does not end in .db");
        }
    }

    void ReadCheckpoint(const ConfigSection& /*section*/, ConfigSectionReader& reader) {
        CheckpointConfig& checkpoint = config.checkpoint.emplace();
        reader.Text("file", checkpoint.file)
            .Required("file")
            .Duration("every", checkpoint.interval)
            .Finish();
        if (!checkpoint.file.empty() && !storage::IsDocumentPath(checkpoint.file)) {
            mistakes.Add(reader.GetLine("file"),
                         "file " + Quoted(checkpoint.file) + " does not end in .xml or .json");
        }
    }

    void ReadSource(const ConfigSection& section, ConfigSectionReader& reader) {
        config.sources.push_back(ReadSourceSection(section, reader, mistakes));
    }
    void ReadStream(const ConfigSection& section, ConfigSectionReader& reader) {
        config.streams.push_back(ReadStreamSection(section, reader, config.capacity, mistakes));
    }
    void ReadRule(const ConfigSection& section, ConfigSectionReader& reader) {
        config.reactions.rules.push_back(ReadRuleSection(section, reader, mistakes));
    }
    void ReadCommand(const ConfigSection& section, ConfigSectionReader& reader) {
        config.reactions.commands.push_back(ReadCommandSection(section, reader, mistakes));
    }
    void ReadWebhook(const ConfigSection& section, ConfigSectionReader& reader) {
        config.reactions.webhooks.push_back(ReadWebhookSection(section, reader, mistakes));
    }

    ConfigMistakes& mistakes;
    ServeConfig config;
    std::map<std::pair<std::string, std::string>, std::size_t> lines;
};

}  // namespace

ServeConfig ReadServeConfig(const std::string& path, ConfigMistakes& mistakes) {
    errno = 0;
    std::ifstream file(path);
    // Opening a folder succeeds, but reading it fails.
    const bool isReadable =
        file && (file.peek() != std::ifstream::traits_type::eof() || errno == 0);
    if (!isReadable) {
        mistakes.Add(0, std::string("cannot be read: ") + std::strerror(errno));
        return {};
    }
    file.clear();
    const std::vector<ConfigSection> sections = ReadConfigText(file, mistakes);
    return ConfigBuilder(mistakes).Build(sections);
}

ServeConfig ReadServeConfig(const std::string& path) {
    ConfigMistakes mistakes(path);
    ServeConfig config = ReadServeConfig(path, mistakes);
    if (mistakes.IsEmpty()) {
        return config;
    }
    const auto sentences = mistakes.GetSentences();
    std::string others;
    for (std::size_t i = 1; i < sentences.size(); ++i) {
        others += "  " + sentences[i].first + "\n";
    }
    throw CommandError(sentences.front().first, others);
}

}  // namespace velmora::tool
