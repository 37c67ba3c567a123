// A simulated host with an environment whose collaborators are recording
// fakes, for tests of the façade's interplay with them.
#ifndef TESSARIN_TESTS_SUPPORT_SIM_ENVIRONMENT_H_
#define TESSARIN_TESTS_SUPPORT_SIM_ENVIRONMENT_H_

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/collaborators.h"
#include "core/composition_root.h"
#include "platform/sim/sim_platform.h"

namespace tessarin::testing {

// Every fake appends "<name>.<call>" to one shared journal, so a test can
// assert the order of calls across collaborators.
using Journal = std::shared_ptr<std::vector<std::string>>;

class FakeEventQueue : public EventQueue {
 public:
  explicit FakeEventQueue(Journal journal) : journal_(std::move(journal)) {}
  void addEvent(Json event) override {
    events.push_back(std::move(event));
    journal_->push_back("queue.addEvent");
  }
  void startSendingQueuedEvents() override { journal_->push_back("queue.start"); }
  void stopSendingQueuedEvents() override { journal_->push_back("queue.stop"); }
  void saveToFile() override { journal_->push_back("queue.save"); }
  void deleteFile() override { journal_->push_back("queue.delete"); }
  void updateWithConfig(const TSRConfig&) override { journal_->push_back("queue.update"); }
  void flush(std::function<void()> drained) override {
    journal_->push_back("queue.flush");
    if (drained) drained();
  }
  std::vector<Json> events;
  EventQueueSuccessBlock success;
  EventQueueFailureBlock failure;

 private:
  Journal journal_;
};

class FakeSender : public HttpSender {
 public:
  struct ConfigRequest {
    std::string uuid;
    Json params;
    std::optional<double> lastModified;
    JsonSuccessBlock success;
    FailureBlock failure;
  };

  explicit FakeSender(Journal journal) : journal_(std::move(journal)) {}
  void updateWithConfig(const TSRConfig&) override { journal_->push_back("sender.update"); }
  std::string requestConfigWithParams(const Json& params, std::optional<double> lastModified,
                                      JsonSuccessBlock success, FailureBlock failure) override {
    journal_->push_back("sender.config");
    std::string uuid = "request-" + std::to_string(configRequests.size() + 1);
    configRequests.push_back({uuid, params, lastModified, std::move(success), std::move(failure)});
    return uuid;
  }
  // Designer requests: the connect and upload calls, answered by the test.
  struct DesignerRequest {
    std::string uuid;
    Json info;
    std::string imageData;
    std::string mimeType;
    JsonSuccessBlock success;
    FailureBlock failure;
  };
  std::string connectWithInfo(const Json& info, JsonSuccessBlock success, FailureBlock failure) override {
    journal_->push_back("sender.connect");
    std::string uuid = "connect-" + std::to_string(connectRequests.size() + 1);
    connectRequests.push_back({uuid, info, "", "", std::move(success), std::move(failure)});
    return uuid;
  }
  std::string uploadScreenWithInfo(const Json& info, const std::string& imageData, const std::string& mimeType,
                                   JsonSuccessBlock success, FailureBlock failure) override {
    journal_->push_back("sender.upload");
    std::string uuid = "upload-" + std::to_string(uploadRequests.size() + 1);
    uploadRequests.push_back({uuid, info, imageData, mimeType, std::move(success), std::move(failure)});
    return uuid;
  }
  std::vector<ConfigRequest> configRequests;
  std::vector<DesignerRequest> connectRequests;
  std::vector<DesignerRequest> uploadRequests;

 private:
  Journal journal_;
};

class FakeReachability : public ReachabilityMonitor {
 public:
  explicit FakeReachability(Journal journal) : journal_(std::move(journal)) {}
  void startMonitoring() override { journal_->push_back("reachability.start"); }
  void stopMonitoring() override { journal_->push_back("reachability.stop"); }
  long lastStatus() const override { return status; }
  ReachabilityStatusBlock block;
  long status = 2;  // Wi-Fi

 private:
  Journal journal_;
};

class FakeDispatcher : public CampaignRouter {
 public:
  explicit FakeDispatcher(Journal journal) : journal_(std::move(journal)) {}
  // Routing calls are journalled as "dispatcher.<call>:<contextId>".
  void handleCampaign(const std::shared_ptr<TSRCampaign>& campaign) override { campaigns.push_back(campaign); }
  void setHandler(TSRCampaignHandler handler, const std::optional<std::string>& contextId,
                  const std::string& target) override {
    journal_->push_back((handler ? "dispatcher.setHandler:" : "dispatcher.clearHandler:") + contextId.value_or("") +
                        ":" + target);
    handlers[target] = std::move(handler);
  }
  void registerContextIdIfNecessary(const std::optional<std::string>& contextId) override {
    journal_->push_back("dispatcher.register:" + contextId.value_or(""));
  }
  void unregisterContextId(const std::optional<std::string>& contextId) override {
    journal_->push_back("dispatcher.unregister:" + contextId.value_or(""));
  }
  void setDispatchingAllowed(bool allowed, const std::optional<std::string>& contextId) override {
    journal_->push_back((allowed ? "dispatcher.allow:" : "dispatcher.disallow:") + contextId.value_or(""));
  }
  void clearAllCampaignsHeld() override { journal_->push_back("dispatcher.clear"); }
  void unregisterAllAndDisable() override { journal_->push_back("dispatcher.disable"); }
  std::vector<std::shared_ptr<TSRCampaign>> campaigns;
  std::map<std::string, TSRCampaignHandler> handlers;

 private:
  Journal journal_;
};

class FakePushTokens : public PushTokenReporter {
 public:
  explicit FakePushTokens(Journal journal) : journal_(std::move(journal)) {}
  void enqueuePushTokenUpdateEvent() override { journal_->push_back("push.enqueue"); }
  void handlePushToken(const std::string& token, int platform) override {
    journal_->push_back("push.token:" + std::to_string(platform) + ":" + token);
  }

 private:
  Journal journal_;
};

class FakeMessages : public MessagePresenter {
 public:
  explicit FakeMessages(Journal journal) : journal_(std::move(journal)) {}
  void hideAllAnimated(bool animated) override {
    journal_->push_back(animated ? "ui.hide.animated" : "ui.hide");
  }

 private:
  Journal journal_;
};

// An environment that hands the façade recording fakes and remembers the
// last of each it made.
class FakeEnvironment : public TSRUtilityDI {
 public:
  explicit FakeEnvironment(std::shared_ptr<platform::Platform> platform)
      : TSRUtilityDI(std::move(platform)), journal(std::make_shared<std::vector<std::string>>()) {}

  std::shared_ptr<HttpSender> senderWithConfig(const TSRConfig&) override {
    return sender = std::make_shared<FakeSender>(journal);
  }
  std::shared_ptr<EventQueue> queuedEventSenderWithSender(const std::shared_ptr<HttpSender>&, const TSRConfig&,
                                                          EventQueueSuccessBlock success,
                                                          EventQueueFailureBlock failure) override {
    ++queues_made;
    queue = std::make_shared<FakeEventQueue>(journal);
    queue->success = std::move(success);
    queue->failure = std::move(failure);
    return queue;
  }
  std::shared_ptr<ReachabilityMonitor> reachabilityManagerWithStatusChangeBlock(
      ReachabilityStatusBlock block) override {
    reachability = std::make_shared<FakeReachability>(journal);
    reachability->block = std::move(block);
    return reachability;
  }
  std::shared_ptr<CampaignRouter> campaignDispatcherWithConfig(const TSRConfig&) override {
    ++dispatchers_made;
    return dispatcher = std::make_shared<FakeDispatcher>(journal);
  }
  std::shared_ptr<PushTokenReporter> pushTokenManagerWithConfig(const TSRConfig&,
                                                                const std::shared_ptr<EventQueue>&) override {
    return push = std::make_shared<FakePushTokens>(journal);
  }
  std::shared_ptr<MessagePresenter> uiManagerWithCampaignDispatcher(
      const std::shared_ptr<CampaignRouter>&) override {
    return messages = std::make_shared<FakeMessages>(journal);
  }

  bool journalHas(const std::string& entry) const {
    for (const auto& e : *journal) {
      if (e == entry) return true;
    }
    return false;
  }
  int journalCount(const std::string& entry) const {
    int n = 0;
    for (const auto& e : *journal) n += e == entry;
    return n;
  }

  Journal journal;
  std::shared_ptr<FakeSender> sender;
  std::shared_ptr<FakeEventQueue> queue;
  std::shared_ptr<FakeReachability> reachability;
  std::shared_ptr<FakeDispatcher> dispatcher;
  std::shared_ptr<FakePushTokens> push;
  std::shared_ptr<FakeMessages> messages;
  int queues_made = 0;
  int dispatchers_made = 0;
};

}  // namespace tessarin::testing

#endif  // TESSARIN_TESTS_SUPPORT_SIM_ENVIRONMENT_H_
