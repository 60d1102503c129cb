// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// page_host <recording.csv> <history.db> <port> [token]: a host with an inspector, for the tests of
// its page. Prints the page's address; then each line of the input is a command:
//
//     push N      pushes the next N rows of the recording into "plant/recording"
//     burst N     pushes N samples into "plant/burst"
//     hostile     pushes a sample into each of the streams whose names are markup
//     many N      adds N streams below "many"
//     remove PATH removes a stream
//
// and is answered with "done". The host ends with its input.

#include "inspector/inspector.h"
#include "storage/document.h"
#include "storage/history_writer.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type.h"

#include <Poco/DateTime.h>
#include <Poco/DateTimeParser.h>
#include <Poco/StringTokenizer.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace velmora;
using core::tessaryn::Document;
using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamType;
using storage::OpenStream;

constexpr const char* recordingPath = "plant/recording";
constexpr const char* burstPath = "plant/burst";
constexpr long ringSize = 200;
// Small, so that a burst does not fit.
constexpr std::size_t queuedBytes = 64 * 1024;

const std::vector<std::string> hostileNames = {
    "<img src=x onerror=\"window.pwned=1\">", "\"><svg onload=window.pwned=1>",
    "plant/" + std::string(300, 'w'), "{{7*7}} ${7*7} \u202egnp.exe"};

std::vector<std::string> Split(const std::string& line) {
    const Poco::StringTokenizer cells(line, ",", Poco::StringTokenizer::TOK_TRIM);
    return {cells.begin(), cells.end()};
}

bool IsNumber(const std::string& text) {
    char* end = nullptr;
    std::strtod(text.c_str(), &end);
    return !text.empty() && *end == '\0';
}

// A table with the time in its first column.
class Recording {
  public:
    explicit Recording(const std::string& path) {
        std::ifstream file(path);
        std::string line;
        while (std::getline(file, line)) {
            rows.push_back(Split(line));
        }
        if (rows.size() < 2) {
            throw std::runtime_error(path + ": there are no rows");
        }
        for (std::size_t i = 1; i < rows[0].size(); ++i) {
            type.Add(rows[0][i],
                     IsNumber(rows[1][i]) ? core::tessaryn::Double : core::tessaryn::String,
                     IsNumber(rows[1][i]) ? 1 : 0);
        }
    }

    const StreamType& GetType() const { return type; }

    // The next row; starts again after the last one.
    Sample Next(StreamType* streamType) {
        const std::vector<std::string>& row = rows[1 + position++ % (rows.size() - 1)];
        Sample sample(streamType, Poco::Timestamp());
        for (unsigned short id = 0; id + 1U < row.size(); ++id) {
            if (streamType->GetEntry(id).type == core::tessaryn::String) {
                sample.Set(id, row[id + 1U]);
            } else {
                sample.Set(id, 0, std::strtod(row[id + 1U].c_str(), nullptr));
            }
        }
        int zone = 0;
        Poco::DateTime time = Poco::DateTimeParser::parse("%Y-%n-%eT%H:%M:%S", row[0], zone);
        return Restamped(std::move(sample), time.timestamp());
    }

    std::size_t Count() const { return rows.size() - 1; }

  private:
    std::vector<std::vector<std::string>> rows;
    StreamType type;
    std::size_t position = 0;
};

class Host {
  public:
    Host(const std::string& path, const std::string& history)
        : recording(path), document(storage::NewDocument()), writer(history) {
        OpenStream(document, recordingPath, recording.GetType(), ringSize);
        number.Add("value", core::tessaryn::Double, 1);
        OpenStream(document, burstPath, number, 1000);
        hostile.Add("<script>window.pwned=1</script>", core::tessaryn::Double, 1)
            .Add("<b>text</b>", core::tessaryn::String, 0)
            .Add("series", core::tessaryn::Double, 64)
            .Add(std::string(200, 'n'), core::tessaryn::Int64, 1);
        for (const std::string& name : hostileNames) {
            OpenStream(document, name, hostile, 10);
        }
        Push(recording.Count() / 2);
        PushHostile();
    }

    Document& GetDocument() { return document; }

    // Also written to the history, which keeps what the ring drops.
    void Push(std::size_t count) {
        Stream& stream = document.streams->GetStream(recordingPath);
        for (std::size_t i = 0; i < count; ++i) {
            const Sample sample = recording.Next(stream.GetStreamType());
            writer.Write(recordingPath, sample);
            stream.PushNew(new Sample(sample));
        }
        writer.Flush();
    }

    void Burst(std::size_t count) {
        Stream& stream = document.streams->GetStream(burstPath);
        for (std::size_t i = 0; i < count; ++i) {
            stream.PushNew([&](Sample& sample) { sample.Set(0, 0, std::sin(double(i) / 100)); });
        }
    }

    // Samples of long ago, a second apart.
    void PushOld(std::size_t count) {
        Stream& stream = document.streams->GetStream(burstPath);
        for (std::size_t i = 0; i < count; ++i) {
            Sample sample(stream.GetStreamType(), Poco::Timestamp());
            sample.Set(0, 0, double(i));
            const Poco::Timestamp time = Poco::DateTime(2014, 2, 8, 5, 0, int(i)).timestamp();
            stream.PushNew(new Sample(Restamped(std::move(sample), time)));
        }
    }

    void PushHostile() {
        for (const std::string& name : hostileNames) {
            document.streams->GetStream(name).PushNew([](Sample& sample) {
                sample.Set(0, 0, std::numeric_limits<double>::quiet_NaN());
                sample.Set(1, std::string("</td><script>window.pwned=1</script>"));
                sample.Set(3, 0, 9007199254740993LL);
            });
        }
    }

    void AddMany(std::size_t count) {
        StreamType* const type = document.streams->GetStream(burstPath).GetStreamType();
        for (std::size_t i = 0; i < count; ++i) {
            document.streams->AddStream("many/stream " + std::to_string(i), type, 10)
                ->PushNew([&](Sample& sample) { sample.Set(0, 0, double(i)); });
        }
    }

  private:
    Recording recording;
    StreamType number;
    StreamType hostile;
    Document document;
    storage::HistoryWriter writer;
};

void Execute(Host& host, const std::string& line) {
    std::istringstream words(line);
    std::string command;
    words >> command;
    if (command == "remove") {
        host.GetDocument().streams->Remove(line.substr(command.size() + 1));
        return;
    }
    std::size_t count = 0;
    words >> count;
    if (command == "push") {
        host.Push(count);
    } else if (command == "burst") {
        host.Burst(count);
    } else if (command == "old") {
        host.PushOld(count);
    } else if (command == "hostile") {
        host.PushHostile();
    } else if (command == "many") {
        host.AddMany(count);
    } else {
        throw std::invalid_argument("there is no command '" + command + "'");
    }
}

void Run(const std::vector<std::string>& arguments) {
    Host host(arguments.at(0), arguments.at(1));
    inspector::InspectorOptions options;
    options.port = static_cast<std::uint16_t>(std::stoi(arguments.at(2)));
    options.token = arguments.size() > 3 ? arguments[3] : "";
    options.title = "Plant <i>north</i>";
    options.history = arguments[1];
    options.limits.maxQueuedBytes = queuedBytes;
    options.unit = [](const std::string&, const std::string& entry) {
        return entry == "temperature" ? "°C" : "";
    };
    inspector::Inspector inspector(*host.GetDocument().streams, *host.GetDocument().types, options);
    inspector.AddRule("warm", "temperature > 8.0", [] { return 7; });
    inspector.Start();
    std::cout << inspector.GetUrl() << std::endl;
    std::string line;
    while (std::getline(std::cin, line)) {
        Execute(host, line);
        std::cout << "done" << std::endl;
    }
    inspector.Stop();
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Run({argv + 1, argv + argc});
        return 0;
    } catch (const Poco::Exception& error) {
        std::cerr << error.displayText() << '\n';
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
    }
    return 1;
}
