// What the Linux host tests share: a temporary XDG_DATA_HOME, the local
// Tessarin service on loopback, and the probe app (tests/linux_host/) run in
// a process of its own against it.
#ifndef TESSARIN_TESTS_INTEGRATION_LINUX_HOST_FIXTURE_H_
#define TESSARIN_TESTS_INTEGRATION_LINUX_HOST_FIXTURE_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "service/local_service.h"
#include "support/child_process.h"
#include "tessarin/json.h"

namespace tessarin {

class LinuxHostFixture : public ::testing::Test {
 protected:
  using Endpoint = service::Endpoint;
  using LocalService = service::LocalService;
  using ChildProcess = testing::ChildProcess;

  void SetUp() override {
    char pattern[] = "/tmp/tessarin-host-XXXXXX";
    data_ = mkdtemp(pattern);
    StartService();
  }
  void TearDown() override {
    service.reset();
    std::error_code ignored;
    std::filesystem::remove_all(data_, ignored);
  }

  // The service on `port` (0: a free one), serving the probe's dataset.
  void StartService(int port = 0, LocalService::Options options = {}) {
    StopService();
    options.port = port;
    service = std::make_unique<LocalService>(options);
    ASSERT_TRUE(service->start()) << service->error();
    service->setAppConfig("shop", Json{{"eventThrottleLimit", 100000}});
  }
  // Stops the service (its port refuses connections from then on), keeping
  // what it received for Events() and Received().
  void StopService() {
    if (!service) return;
    for (auto& request : service->takeRequests()) earlier_.push_back(std::move(request));
    service.reset();
  }
  // A port nothing listens on: the service's, once it has stopped.
  int ClosedPort() {
    int port = service->port();
    StopService();
    return port;
  }

  // The SDK's directory under the data directory.
  std::string SdkDirectory() const { return data_ + "/com.tessarin.probe"; }

  std::unique_ptr<ChildProcess> Probe(const std::string& scenario, int port, const std::string& extra = "",
                                      const std::vector<std::string>& env = {}, const std::string& dataHome = "") {
    std::vector<std::string> argv = {TESSARIN_LINUX_PROBE, scenario, std::to_string(port)};
    if (!extra.empty()) argv.push_back(extra);
    std::vector<std::string> environment = {"XDG_DATA_HOME=" + (dataHome.empty() ? data_ : dataHome)};
    environment.insert(environment.end(), env.begin(), env.end());
    auto child = std::make_unique<ChildProcess>(argv, environment);
    EXPECT_TRUE(child->started());
    return child;
  }
  // The probe's next JSON line that has `key`.
  static Json Line(ChildProcess& child, const std::string& key,
                   std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
    auto line = child.readLineContaining("\"" + key + "\"", timeout);
    if (!line) return Json();
    return Json::parse(*line, nullptr, false);
  }
  // Tells a driven probe (scenario "drive") one command and returns its
  // answer, the next line that has `key`.
  static Json Ask(ChildProcess& child, const std::string& command, const std::string& key,
                  std::chrono::milliseconds timeout = std::chrono::seconds(15)) {
    if (!child.writeLine(command)) return Json();
    return Line(child, key, timeout);
  }

  // Every request every run of the service received, oldest first.
  std::vector<service::RecordedRequest> AllRequests() const {
    std::vector<service::RecordedRequest> all = earlier_;
    if (service) {
      for (auto& request : service->requests()) all.push_back(std::move(request));
    }
    return all;
  }
  // Events delivered, each as the SDK sent it, in the order they arrived: in
  // batches the service accepted and answered in full. A batch whose answer
  // a scripted fault replaced, delayed or cut off is not among them, even
  // when the service took it in.
  std::vector<Json> Events() const { return EventsIn(true); }
  // Every event that reached the service, whatever became of its answer.
  std::vector<Json> Received() const { return EventsIn(false); }
  std::map<std::string, int> ActionCounts() const { return Count(Events()); }
  static std::map<std::string, int> Count(const std::vector<Json>& events) {
    std::map<std::string, int> counts;
    for (const Json& event : events) {
      if (event.contains("action")) ++counts[event["action"].get<std::string>()];
    }
    return counts;
  }

  std::string data_;
  std::unique_ptr<LocalService> service;

 private:
  std::vector<Json> EventsIn(bool deliveredOnly) const {
    std::vector<Json> events;
    for (const auto& request : AllRequests()) {
      if (request.endpoint != Endpoint::kEvents || !request.body.is_array()) continue;
      bool delivered = request.status >= 200 && request.status < 300 && !request.faulted;
      if (deliveredOnly && !delivered) continue;
      for (const Json& event : request.body) events.push_back(event);
    }
    return events;
  }

  std::vector<service::RecordedRequest> earlier_;
};

}  // namespace tessarin

#endif  // TESSARIN_TESTS_INTEGRATION_LINUX_HOST_FIXTURE_H_
