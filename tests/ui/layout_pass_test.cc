// Views placed by constraints in a window's layout pass: a panel pinned
// between the layout guides the way an in-app message is, a label whose
// text decides the panel's height, a constant changed as a drag does, and
// a view that leaves the tree taking its constraints with it.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "platform/sim/sim_platform.h"
#include "platform/ui/label.h"
#include "platform/ui/layout/layout_constraint.h"
#include "platform/ui/layout_guide.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view.h"
#include "platform/ui/view_controller.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {
namespace {

using layout::LayoutConstraint;
using layout::LayoutItem;

class LayoutPassTest : public testing::Test {
 protected:
  void SetUp() override {
    screen_.setSafeAreaInsets({20, 0, 34, 0});
    window_ = std::make_shared<Window>(screen_);
    root_ = std::make_shared<ViewController>();
    window_->setRootViewController(root_);
    window_->makeKeyAndVisible();
    panel_ = std::make_shared<View>(Rect{});
    panel_->setTranslatesAutoresizingMaskIntoConstraints(false);
    root_->view()->addSubview(panel_);
  }

  // Activates the constraints of `format`; the test fails on a parse error.
  std::vector<std::shared_ptr<LayoutConstraint>> Add(const std::string& format,
                                                     const std::map<std::string, LayoutItem*>& views,
                                                     LayoutItem* superview) {
    std::string error;
    auto constraints = LayoutConstraint::constraintsWithVisualFormat(format, metrics_, views, superview, &error);
    EXPECT_EQ(error, "") << format;
    LayoutConstraint::activateConstraints(constraints);
    return constraints;
  }

  // The panel of a message at the top: margins from the screen's sides and
  // from the top guide, at least its minimum height; unless the test gives
  // it content of its own, content 24 points high that decides it.
  std::vector<std::shared_ptr<LayoutConstraint>> PinPanelToTop(bool withContent = true) {
    View* view = root_->view().get();
    if (withContent) AddContent();
    auto horizontal = Add("|-_marginHorizontal-[_mainView]-_marginHorizontal-|", {{"_mainView", panel_.get()}}, view);
    Add("V:[topLG]-(==_marginVertical)-[_mainView(>=_heightMin)]-(>=_marginVertical)-[botLG]",
        {{"_mainView", panel_.get()},
         {"topLG", root_->topLayoutGuide().get()},
         {"botLG", root_->bottomLayoutGuide().get()}},
        view);
    return horizontal;
  }

  void AddContent() {
    auto content = std::make_shared<View>(Rect{});
    content->setTranslatesAutoresizingMaskIntoConstraints(false);
    panel_->addSubview(content);
    Add("|-_paddingHorizontal-[content]-_paddingHorizontal-|", {{"content", content.get()}}, panel_.get());
    Add("V:|-_paddingVertical-[content(24@750)]-_paddingVertical-|", {{"content", content.get()}}, panel_.get());
  }

  sim::SimPlatform sim_;
  UIEnvironment env_{sim_};
  Screen screen_{env_, {375, 667}, 2};
  std::shared_ptr<Window> window_;
  std::shared_ptr<ViewController> root_;
  std::shared_ptr<View> panel_;
  std::map<std::string, double> metrics_ = {
      {"_marginHorizontal", 10}, {"_marginVertical", 10}, {"_heightMin", 44},
      {"_paddingHorizontal", 10}, {"_paddingVertical", 10}};
};

TEST_F(LayoutPassTest, APanelBetweenTheGuidesSitsBelowTheTopGuideAndMovesWithItsConstants) {
  auto horizontal = PinPanelToTop();
  window_->runLayoutPass();
  EXPECT_EQ(panel_->frame(), (Rect{10, 30, 355, 44}));

  // A drag moves the panel 50 points right by the constants that hold it:
  // the offset is added where the panel is the first item and taken away
  // where it is the second.
  auto drag = [&](double offset) {
    for (const auto& constraint : horizontal) {
      double sign = constraint->firstItem() == panel_.get() ? 1 : -1;
      constraint->setConstant(constraint->constant() + sign * offset);
    }
    window_->runLayoutPass();
  };
  drag(50);
  EXPECT_EQ(panel_->frame(), (Rect{60, 30, 355, 44}));
  drag(-50);
  EXPECT_EQ(panel_->frame(), (Rect{10, 30, 355, 44}));
}

TEST_F(LayoutPassTest, ALabelsTextDecidesThePanelsHeightOnceItWrapsAtTheSolvedWidth) {
  PinPanelToTop(/*withContent=*/false);
  auto label = std::make_shared<Label>();
  label->setTranslatesAutoresizingMaskIntoConstraints(false);
  label->setFont(env_.preferredFont(TextStyle::kBody));
  label->setNumberOfLines(2);
  panel_->addSubview(label);
  Add("|-_paddingHorizontal-[label]-_paddingHorizontal-|", {{"label", label.get()}}, panel_.get());
  Add("V:|-_paddingVertical-[label]-_paddingVertical-|", {{"label", label.get()}}, panel_.get());

  label->setText("Short");
  window_->runLayoutPass();
  double oneLine = label->frame().height;
  EXPECT_GT(oneLine, 10);
  EXPECT_EQ(label->frame().width, 335);
  EXPECT_EQ(panel_->frame().height, std::max(44.0, oneLine + 20));

  // Too long for one line at 335 points: two lines, and the panel grows.
  label->setText("Free delivery on every order this weekend, and a second item at half price");
  window_->runLayoutPass();
  EXPECT_GT(label->frame().height, 1.5 * oneLine);
  EXPECT_EQ(panel_->frame().height, label->frame().height + 20);
}

TEST_F(LayoutPassTest, AViewThatLeavesTheTreeTakesItsConstraintsWithIt) {
  PinPanelToTop();
  View* view = root_->view().get();
  auto involvesPanel = [&] {
    for (const auto& constraint : view->constraints()) {
      if (constraint->firstItem() == panel_.get() || constraint->secondItem() == panel_.get()) return true;
    }
    return false;
  };
  ASSERT_TRUE(involvesPanel());
  panel_->removeFromSuperview();
  panel_ = std::make_shared<View>(Rect{});
  panel_->setTranslatesAutoresizingMaskIntoConstraints(false);
  EXPECT_TRUE(view->constraints().empty());
  window_->runLayoutPass();  // nothing left pointing at the old panel
  view->addSubview(panel_);
  PinPanelToTop();
  window_->runLayoutPass();
  EXPECT_EQ(panel_->frame(), (Rect{10, 30, 355, 44}));
}

}  // namespace
}  // namespace tessarin::platform::ui
