// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/client.h"
#include "support/folder.h"

#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <Poco/StreamCopier.h>
#include <Poco/URI.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

namespace velmora::test {

namespace {

// A Prometheus of its own that scrapes one inspector.
class Prometheus {
  public:
    Prometheus(const Folder& folder, std::uint16_t inspectorPort, const std::string& token)
        : port(FreePort()),
          process(Poco::Process::launch(
              "prometheus",
              {"--config.file=" + folder.Write("prometheus.yml",
                                               "scrape_configs:\n"
                                               "- job_name: plant\n"
                                               "  scrape_interval: 200ms\n"
                                               "  scrape_timeout: 200ms\n"
                                               "  authorization: {credentials: " +
                                                   token +
                                                   "}\n"
                                                   "  static_configs:\n"
                                                   "  - targets: ['127.0.0.1:" +
                                                   std::to_string(inspectorPort) + "']\n"),
               "--storage.tsdb.path=" + folder.PathOf("store"), "--log.level=error",
               "--web.listen-address=127.0.0.1:" + std::to_string(port)})) {}
    Prometheus(const Prometheus&) = delete;
    Prometheus& operator=(const Prometheus&) = delete;
    ~Prometheus() {
        ::kill(process.id(), SIGKILL);
        process.wait();
    }

    // The result of a query; empty as long as Prometheus does not answer.
    std::string Ask(const std::string& query) const {
        std::string encoded;
        Poco::URI::encode(query, "{}=\"+&#", encoded);
        try {
            Poco::Net::HTTPClientSession session("127.0.0.1", port);
            Poco::Net::HTTPRequest request("GET", "/api/v1/query?query=" + encoded, "HTTP/1.1");
            session.sendRequest(request);
            Poco::Net::HTTPResponse response;
            std::string text;
            Poco::StreamCopier::copyToString(session.receiveResponse(response), text);
            return text;
        } catch (const Poco::Exception&) {
            return {};
        }
    }

  private:
    static std::uint16_t FreePort() {
        const Poco::Net::ServerSocket socket(Poco::Net::SocketAddress("127.0.0.1", 0));
        return socket.address().port();
    }

    std::uint16_t port;
    Poco::ProcessHandle process;
};

class PrometheusScrape : public InspectorTest {
  protected:
    PrometheusScrape() {
        options.token = "0123456789abcdef";
        options.gauges = {{"plant/<b>\"\\\n", "level"}};
        streams.AddStream("plant/<b>\"\\\n", tank, 100);
        streams.AddStream("empty\xff", tank, 100);
        Start();
        for (int i = 0; i < 42; ++i) {
            Push("plant/<b>\"\\\n", Poco::Timestamp().epochMicroseconds(), i);
        }
        inspector->AddCounter("plant_events_total", "Events.", [] { return 3.0; });
        inspector->AddGauge("plant_pressure_pascals", "Pressure.", [] { return 0.5; });
        inspector->AddRule("hot", "level > 1", [] { return std::uint64_t{2}; });
        inspector->AddDelivery("alarms", [] { return delivery::DeliveryStatistics(); });
    }
};

TEST_F(PrometheusScrape, IsReadByPrometheus) {
    const Folder folder;
    const Prometheus prometheus(folder, Port(), options.token);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    std::string answer;
    while (answer.find(R"(,"42"])") == std::string::npos &&
           std::chrono::steady_clock::now() < end) {
        answer = prometheus.Ask("velmora_stream_pushes_total > 0");
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    EXPECT_NE(answer.find(R"("stream":"plant/\u003cb\u003e\"\\\n")"), std::string::npos) << answer;
    EXPECT_NE(prometheus.Ask("up{job=\"plant\"}").find(R"(,"1"])"), std::string::npos);
    EXPECT_NE(prometheus.Ask("velmora_entry_value").find(R"(,"41"])"), std::string::npos);
    EXPECT_NE(prometheus.Ask("plant_events_total").find(R"(,"3"])"), std::string::npos);
}

TEST_F(PrometheusScrape, PassesPromtool) {
    const Reply reply = Get("/metrics", "Authorization: Bearer " + options.token + "\r\n");
    ASSERT_EQ(reply.status, 200);
    const auto check = [](const std::string& metrics) {
        Poco::Pipe in;
        Poco::Pipe out;
        const Poco::ProcessHandle process =
            Poco::Process::launch("promtool", {"check", "metrics"}, &in, &out, &out);
        Poco::PipeOutputStream(in) << metrics;
        in.close(Poco::Pipe::CLOSE_WRITE);
        std::string said;
        Poco::PipeInputStream reader(out);
        Poco::StreamCopier::copyToString(reader, said);
        return said + std::to_string(process.wait());
    };
    EXPECT_EQ(check(reply.body), "0") << reply.body;
    // Shows that the check can fail.
    EXPECT_NE(check("# TYPE events counter\nevents 1\n"), "0");
}

}  // namespace

}  // namespace velmora::test
