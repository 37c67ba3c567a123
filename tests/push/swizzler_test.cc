#include "util/method_interception.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tessarin/json.h"

namespace tessarin {
namespace {

using platform::CallImp;
using platform::HostArg;
using platform::HostArgs;
using platform::HostClass;
using platform::HostObject;
using platform::HostRuntime;
using platform::ImpPtr;
using platform::MakeImp;

// A delegate class of the host app and the objects the SDK meets, with a
// journal of what ran, in order.
class SwizzlerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    base->addMethod("application:openURL:options:", MakeImp([this](HostObject&, const HostArgs& args) {
      journal.push_back("app opens " + *HostArg<std::string>(args, 1));
      return std::any(app_handles_url);
    }));
    base->addClassMethod("sharedInstance", MakeImp([this](HostObject&, const HostArgs&) {
      journal.push_back("app sharedInstance");
      return std::any();
    }));
  }

  // The SDK's usual replacement: records what it saw and answers nothing.
  TSRSwizzler::Block Hook(std::string name) {
    return TSRSwizzler::afterPrevious([this, name](std::any, HostObject& self, const HostArgs&) {
      journal.push_back(name + " on " + self.className());
      return std::any();
    });
  }

  HostRuntime runtime;
  std::shared_ptr<HostClass> root = runtime.defineClass("NSObject", nullptr);
  std::shared_ptr<HostClass> base = runtime.defineClass("AppDelegate", root);
  std::shared_ptr<HostClass> sub = runtime.defineClass("SceneAppDelegate", base);
  std::shared_ptr<HostClass> sibling = runtime.defineClass("OtherAppDelegate", base);
  std::vector<std::string> journal;
  bool app_handles_url = false;
};

TEST_F(SwizzlerTest, ReplacementCallsTheAppsImplementationFirstWithTheSameArgumentsAndORsTheResult) {
  bool sdk_handles_url = false;
  ImpPtr original = base->ownMethod("application:openURL:options:");
  ImpPtr replaced = TSRSwizzler::replaceMethod(
      "application:openURL:options:", base,
      TSRSwizzler::afterPrevious([&](std::any previousResult, HostObject&, const HostArgs& args) {
        journal.push_back("sdk handles " + *HostArg<std::string>(args, 1));
        return std::any(std::any_cast<bool>(previousResult) || sdk_handles_url);
      }));
  EXPECT_EQ(replaced, original);
  EXPECT_NE(base->ownMethod("application:openURL:options:"), original);

  HostObject delegate(base);
  auto open = [&] {
    return std::any_cast<bool>(
        delegate.send("application:openURL:options:", {std::any(), std::string("tsr://x"), Json::object()}));
  };
  for (bool app : {false, true}) {
    for (bool sdk : {false, true}) {
      app_handles_url = app;
      sdk_handles_url = sdk;
      EXPECT_EQ(open(), app || sdk) << "app " << app << " sdk " << sdk;
    }
  }
  ASSERT_EQ(journal.size(), 8u);
  EXPECT_EQ(journal[0], "app opens tsr://x");
  EXPECT_EQ(journal[1], "sdk handles tsr://x");
}

TEST_F(SwizzlerTest, AnInheritedMethodIsReplacedInTheGivenClassOnly) {
  ImpPtr inherited = base->lookupMethod("application:openURL:options:");
  ImpPtr replaced = TSRSwizzler::replaceMethod("application:openURL:options:", sub, Hook("sdk"));
  EXPECT_EQ(replaced, inherited);
  EXPECT_EQ(base->ownMethod("application:openURL:options:"), inherited);

  const HostArgs args{std::any(), std::string("u"), Json::object()};
  HostObject(sub).send("application:openURL:options:", args);
  HostObject(sibling).send("application:openURL:options:", args);
  HostObject(base).send("application:openURL:options:", args);
  EXPECT_EQ(journal, (std::vector<std::string>{"app opens u", "sdk on SceneAppDelegate", "app opens u",
                                               "app opens u"}));
}

TEST_F(SwizzlerTest, AMissingMethodIsAddedOnlyWhereAskedAndTheAdditionHasNothingToCall) {
  EXPECT_EQ(TSRSwizzler::replaceMethod("application:handleOpenURL:", base, Hook("sdk")), nullptr);
  EXPECT_FALSE(HostObject(base).respondsToSelector("application:handleOpenURL:"));

  bool had_previous = true;
  ImpPtr replaced = TSRSwizzler::replaceOrAddMethod(
      "application:handleOpenURL:", sub, [&](const ImpPtr& previous, HostObject& self, const HostArgs& args) {
        had_previous = previous != nullptr;
        EXPECT_FALSE(CallImp(previous, self, args).has_value());
        return std::any(true);
      });
  EXPECT_EQ(replaced, nullptr);  // nothing was replaced, though something was added
  EXPECT_TRUE(std::any_cast<bool>(HostObject(sub).send("application:handleOpenURL:", {std::any(), std::string()})));
  EXPECT_FALSE(had_previous);
  EXPECT_FALSE(HostObject(base).respondsToSelector("application:handleOpenURL:"));

  // Nothing to install in, or nothing to install.
  EXPECT_EQ(TSRSwizzler::replaceOrAddMethod("x", nullptr, Hook("sdk")), nullptr);
  EXPECT_EQ(TSRSwizzler::replaceOrAddMethod("x", base, nullptr), nullptr);
  EXPECT_FALSE(HostObject(base).respondsToSelector("x"));
}

TEST_F(SwizzlerTest, ClassMethodsAreReplacedInTheMetaclassAndNeverAdded) {
  ImpPtr inherited = base->lookupClassMethod("sharedInstance");
  EXPECT_EQ(TSRSwizzler::replaceClassMethod("sharedInstance", sub, Hook("sdk")), inherited);
  sub->send("sharedInstance");
  base->send("sharedInstance");
  EXPECT_EQ(journal, (std::vector<std::string>{"app sharedInstance", "sdk on SceneAppDelegate",
                                               "app sharedInstance"}));

  // An instance method is no class method, and a missing one is not added.
  EXPECT_EQ(TSRSwizzler::replaceClassMethod("application:openURL:options:", base, Hook("sdk")), nullptr);
  EXPECT_EQ(base->lookupClassMethod("application:openURL:options:"), nullptr);
  EXPECT_EQ(TSRSwizzler::replaceClassMethod("sharedInstance", nullptr, Hook("sdk")), nullptr);
}

TEST_F(SwizzlerTest, ASecondInterceptionWrapsTheFirst) {
  ImpPtr original = base->lookupMethod("application:openURL:options:");
  ImpPtr first = TSRSwizzler::replaceMethod("application:openURL:options:", base, Hook("first"));
  ImpPtr installed_first = base->ownMethod("application:openURL:options:");
  ImpPtr second = TSRSwizzler::replaceMethod("application:openURL:options:", base, Hook("second"));
  EXPECT_EQ(first, original);
  EXPECT_EQ(second, installed_first);

  HostObject(base).send("application:openURL:options:", {std::any(), std::string("u"), Json::object()});
  EXPECT_EQ(journal, (std::vector<std::string>{"app opens u", "first on AppDelegate", "second on AppDelegate"}));
}

}  // namespace
}  // namespace tessarin
