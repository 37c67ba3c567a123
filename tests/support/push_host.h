// A simulated host for push tests: the app's delegates are scripted by the
// test, and what the app's own code and the SDK do lands, in order, in one
// journal (the fake collaborators' "push.token:…", "queue.addEvent", and
// "app:<selector>" for each delegate method of the app that ran).
#ifndef TESSARIN_TESTS_SUPPORT_PUSH_HOST_H_
#define TESSARIN_TESTS_SUPPORT_PUSH_HOST_H_

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/tessarin_impl.h"
#include "platform/sim/sim_notifications.h"
#include "support/sim_environment.h"
#include "tessarin/events.h"

namespace tessarin::testing {

class PushHost {
 public:
  using Body = std::function<std::any(const std::string& selector, const platform::HostArgs& args)>;

  // A host whose Info.plist sets "TessarinSwizzlingEnabled" as given.
  explicit PushHost(bool swizzling) { sim->app().info["TessarinSwizzlingEnabled"] = swizzling; }
  // The delegates' methods journal through this host.
  PushHost(const PushHost&) = delete;
  PushHost& operator=(const PushHost&) = delete;

  // Makes the façade and starts it; with `launch` the app has also
  // finished launching and become active. The journal and the queue start
  // empty from here.
  void Start(bool launch = true) {
    env = std::make_shared<FakeEnvironment>(sim);
    facade = TessarinImpl::createWithEnvironment(env);
    if (launch) sim->launchApp();
    facade->startWithConfiguration(
        Json{{"account", "acme"}, {"dataset", "shop"}, {"usePushNotifications", false}, {"useDesignMode", false}});
    sim->runUntilIdle();
    env->journal->clear();
    env->queue->events.clear();
  }

  // A delegate class of the app implementing exactly `selectors`; each
  // method journals "app:<selector>" and then runs `body`, if given, whose
  // result is the method's (nil otherwise).
  std::shared_ptr<platform::HostObject> MakeDelegate(const std::string& className,
                                                     const std::vector<std::string>& selectors, Body body = nullptr) {
    std::map<std::string, platform::ImpPtr> methods;
    for (const auto& selector : selectors) {
      methods[selector] =
          platform::MakeImp([this, selector, body](platform::HostObject&, const platform::HostArgs& args) {
            env->journal->push_back("app:" + selector);
            return body ? body(selector, args) : std::any();
          });
    }
    auto cls = platform::sim::DefineAppClass(runtime(), className, methods);
    return cls ? std::make_shared<platform::HostObject>(cls) : nullptr;
  }

  // The ".cStat" payload lists of the events that reached the queue.
  std::vector<Json> Stats() const {
    std::vector<Json> stats;
    if (!env || !env->queue) return stats;
    for (const Json& event : env->queue->events) {
      if (event.contains(TSREvent_campaignStats)) {
        stats.push_back(Json::parse(event[TSREvent_campaignStats].get<std::string>()));
      }
    }
    return stats;
  }
  int Count(const std::string& entry) const { return env->journalCount(entry); }
  const std::vector<std::string>& Journal() const { return *env->journal; }

  platform::HostRuntime& runtime() { return sim->app().runtime(); }

  std::shared_ptr<platform::sim::SimPlatform> sim = std::make_shared<platform::sim::SimPlatform>();
  std::shared_ptr<FakeEnvironment> env;
  std::shared_ptr<TessarinImpl> facade;
};

}  // namespace tessarin::testing

#endif  // TESSARIN_TESTS_SUPPORT_PUSH_HOST_H_
