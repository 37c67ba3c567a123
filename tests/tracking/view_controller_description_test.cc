#include "tracking/view_controller_description.h"

#include <gtest/gtest.h>

#include "core/tessarin_impl.h"
#include "platform/sim/sim_platform.h"
#include "platform/ui/sim/sim_ui.h"
#include "support/log_capture.h"
#include "support/sim_environment.h"
#include "tracking/screen_impl.h"
#include "tracking/view_controller_tracking.h"

namespace tessarin {
namespace {

using platform::sim::SimPlatform;
using platform::ui::sim::SimUI;
using platform::ui::sim::SimViewController;
using testing::FakeEnvironment;
using testing::LogCapture;

class DescriptionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    sim->app().runtime().defineClass("ShopViewController", "UIViewController");
    sim->app().runtime().defineClass("DealsViewController", "ShopViewController");
    facade = TessarinImpl::createWithEnvironment(std::make_shared<FakeEnvironment>(sim));
    sim->runUntilIdle();
  }
  std::shared_ptr<SimViewController> Make(const std::string& className = "UIViewController") {
    return SimUI::of(*sim).makeViewController(className);
  }
  static int Length(std::shared_ptr<TSRViewControllerDescription> description) {
    int length = 0;
    for (; description; ++length) {
      description = description->parentDescription ? description->parentDescription : description->presentingDescription;
    }
    return length;
  }

  std::shared_ptr<SimPlatform> sim = std::make_shared<SimPlatform>();
  std::shared_ptr<TessarinImpl> facade;
  LogCapture log{TSRLogLevelDebug};
};

TEST_F(DescriptionTest, CarriesWhatTheViewControllerSaysInTheFieldOrder) {
  auto vc = Make("DealsViewController");
  setTessarinName(*vc, "Deals");
  vc->setTitle("Today");
  vc->setNibName("Deals");
  vc->setRestorationIdentifier("deals");
  vc->setViewLoaded(true);
  vc->setAccessibilityLabel("Deals of the day");
  vc->setNavigationItem(sim->app().makeNavigationItem("Deals!"));
  vc->setStoryboardSegueTemplates({sim->app().makeSegueTemplate("UIStoryboardShowSegueTemplate", "toDetail"),
                                   sim->app().makeSegueTemplate("UIStoryboardPresentationSegueTemplate", std::nullopt)});
  auto parent = Make("UINavigationController");
  parent->addChild(vc);

  auto description = tsr_buildAndSetDescription(*vc);
  EXPECT_EQ(tsr_description(*vc), description);
  EXPECT_EQ(JsonDump(description->toJSONObject()),
            R"j({"name":"Deals","title":"Today","nibName":"Deals","className":"DealsViewController",)j"
            R"j("classHierarchy":["DealsViewController","ShopViewController","UIViewController","UIResponder","NSObject"],)j"
            R"j("restorationIdentifier":"deals","navigationItemTitle":"Deals!","accessibilityLabel":"Deals of the day",)j"
            R"j("storyboardSegueIds":["UIStoryboardShowSegueTemplate-toDetail","UIStoryboardPresentationSegueTemplate-(null)"],)j"
            R"j("parentDescription":{"className":"UINavigationController"}})j");
}

TEST_F(DescriptionTest, AChainStopsAtFiveDescriptionsAndAtAViewControllerSeenBefore) {
  // Six levels of containment: the sixth is not described.
  std::vector<std::shared_ptr<SimViewController>> levels;
  for (int i = 0; i < 6; ++i) {
    levels.push_back(Make());
    if (i > 0) levels[i]->addChild(levels[i - 1]);
  }
  EXPECT_EQ(Length(tsr_buildAndSetDescription(*levels[0])), 5);
  EXPECT_EQ(log.count("VC: Description aborting at parentViewController, reached max depth", TSRLogLevelDebug), 1);
  // Five levels fit exactly.
  EXPECT_EQ(Length(tsr_buildAndSetDescription(*levels[1])), 5);
  EXPECT_EQ(log.countContaining("reached max depth"), 1);

  // A child that presents its own container: the chain comes back to it.
  auto container = Make("ShopViewController");
  auto child = Make();
  container->addChild(child);
  child->present(container);
  auto description = tsr_buildAndSetDescription(*child);
  EXPECT_EQ(Length(description), 2);
  EXPECT_EQ(description->parentDescription->className, "ShopViewController");
  EXPECT_TRUE(log.contains("VC: Description aborting at presentingViewController, already processed",
                           TSRLogLevelWarn));
  child->dismissPresented();  // the two hold each other
}

TEST(ViewControllerDescription, EqualDescriptionsHashAlikeAndTheHashFollowsTheFields) {
  auto make = [](std::optional<std::string> title, std::optional<std::string> nib) {
    TSRViewControllerDescription description;
    description.title = std::move(title);
    description.nibName = std::move(nib);
    description.classHierarchy = std::vector<std::string>{"A", "B"};
    description.parentDescription = std::make_shared<TSRViewControllerDescription>();
    description.parentDescription->name = "parent";
    return description;
  };
  TSRViewControllerDescription one = make("a", "b");
  TSRViewControllerDescription same = make("a", "b");
  EXPECT_TRUE(one == same);
  EXPECT_EQ(one.hash(), same.hash());
  // The same values in other fields, or a different ancestor, make another description.
  TSRViewControllerDescription swapped = make("b", "a");
  EXPECT_FALSE(one == swapped);
  EXPECT_NE(one.hash(), swapped.hash());
  same.parentDescription->name = "other";
  EXPECT_FALSE(one.isEqualToVCD(&same));
  EXPECT_NE(one.hash(), same.hash());
  EXPECT_FALSE(one.isEqualToVCD(nullptr));
  EXPECT_EQ(one.toJSONStringPrettyPrinted(false),
            R"({"title":"a","nibName":"b","classHierarchy":["A","B"],"parentDescription":{"name":"parent"}})");
}

}  // namespace
}  // namespace tessarin
