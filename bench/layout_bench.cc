// The layout engine on the in-app message panel: a title, a body and three
// buttons between two spacers, under the top layout guide.
//   BM_LayoutPanelFromScratch: a new engine solves the whole panel.
//   BM_LayoutPanelDragStep: one step of a horizontal drag, the two
//     constants that place the panel moved and the panel re-solved.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/ui/layout/layout_constraint.h"
#include "platform/ui/layout/layout_engine.h"
#include "platform/ui/layout/layout_item.h"

namespace {

using tessarin::platform::ui::Axis;
using tessarin::platform::ui::LayoutAttribute;
using tessarin::platform::ui::LayoutRelation;
using tessarin::platform::ui::Rect;
using tessarin::platform::ui::Size;
using tessarin::platform::ui::layout::LayoutConstraint;
using tessarin::platform::ui::layout::LayoutEngine;
using tessarin::platform::ui::layout::LayoutItem;

class BenchItem : public LayoutItem {
 public:
  BenchItem(LayoutItem* parent, Size intrinsic, bool guide = false)
      : parent_(parent), intrinsic_(intrinsic), guide_(guide) {}
  LayoutItem* layoutParent() const override { return parent_; }
  bool isLayoutGuide() const override { return guide_; }
  Size intrinsicContentSize(double) const override { return intrinsic_; }
  void applyLayoutFrame(const Rect& frame) override { frame_ = frame; }
  std::vector<LayoutItem*> children;

 private:
  LayoutItem* parent_;
  Size intrinsic_;
  bool guide_;
  Rect frame_;
};

class Panel {
 public:
  Panel() {
    root_ = add(nullptr, "root");
    BenchItem* topLG = add(root_, "topLG", {-1, -1}, true);
    BenchItem* botLG = add(root_, "botLG", {-1, -1}, true);
    pin(topLG, LayoutAttribute::kTop, 20);
    pin(botLG, LayoutAttribute::kBottom, 0);
    BenchItem* main = add(root_, "_mainView");
    std::map<std::string, double> metrics = {
        {"_marginHorizontal", 10}, {"_marginVertical", 10}, {"_heightMin", 44},       {"_paddingHorizontal", 10},
        {"_paddingVertical", 10},  {"_buttonsHeightMin", 36}, {"_buttonsWidthMin", 108}, {"_buttonsSpacing", 10},
        {"buttonsEqualWidthPriority", 1000}};
    std::map<std::string, LayoutItem*> views = {{"_mainView", main}, {"topLG", topLG}, {"botLG", botLG}};
    drag_ = format("|-_marginHorizontal-[_mainView]-_marginHorizontal-|", metrics, views, root_);
    format("V:[topLG]-(==_marginVertical)-[_mainView(>=_heightMin)]-(>=_marginVertical)-[botLG]", metrics, views,
           root_);

    BenchItem* title = add(main, "title", {140, 21});
    title->setContentHuggingPriority(249, Axis::kVertical);
    BenchItem* body = add(main, "body", {300, 41});
    body->setContentHuggingPriority(248, Axis::kVertical);
    format("|-_paddingHorizontal-[label]-_paddingHorizontal-|", metrics, {{"label", title}}, main);
    format("V:|-_paddingVertical-[label]", metrics, {{"label", title}}, main);
    format("|-_paddingHorizontal-[label]-_paddingHorizontal-|", metrics, {{"label", body}}, main);
    format("V:[lastVerticalView][label]", metrics, {{"lastVerticalView", title}, {"label", body}}, main);

    BenchItem* leading = add(main, "leadingSpacerView");
    BenchItem* trailing = add(main, "trailingSpacerView");
    std::map<std::string, LayoutItem*> row = {
        {"lastVerticalView", body}, {"leadingSpacerView", leading}, {"trailingSpacerView", trailing}};
    format("V:[lastVerticalView]-_paddingVertical-[leadingSpacerView(_buttonsHeightMin)]", metrics, row, main);
    format("V:[lastVerticalView]-_paddingVertical-[trailingSpacerView(_buttonsHeightMin)]", metrics, row, main);
    LayoutItem* previous = nullptr;
    for (double width : {80.0, 96.0, 70.0}) {
      BenchItem* button = add(main, "button", {width, 30});
      button->setContentHuggingPriority(250, Axis::kVertical);
      row["button"] = button;
      format("V:[lastVerticalView]-_paddingVertical-[button(>=_buttonsHeightMin)]", metrics, row, main);
      if (previous == nullptr) {
        format("|-_paddingHorizontal-[leadingSpacerView]-0-[button(>=_buttonsWidthMin)]", metrics, row, main);
      } else {
        row["previousButton"] = previous;
        format("[previousButton]-_buttonsSpacing-[button(>=_buttonsWidthMin)]", metrics, row, main);
        format("[button(previousButton@buttonsEqualWidthPriority)]", metrics, row, main);
      }
      previous = button;
    }
    format("[button][trailingSpacerView(leadingSpacerView)]-_paddingHorizontal-|", metrics, row, main);
    format("V:[lastVerticalView]-_paddingVertical-|", metrics, {{"lastVerticalView", previous}}, main);
  }

  bool layout(LayoutEngine& engine) {
    return engine.layout(root_, Rect{0, 0, 375, 667},
                         [](LayoutItem* item) { return static_cast<BenchItem*>(item)->children; }, nullptr);
  }
  // The panel's leading and trailing constraints, which a drag moves.
  const std::vector<std::shared_ptr<LayoutConstraint>>& dragConstraints() const { return drag_; }

 private:
  BenchItem* add(BenchItem* parent, const std::string& name, Size intrinsic = {-1, -1}, bool guide = false) {
    items_.push_back(std::make_unique<BenchItem>(parent, intrinsic, guide));
    items_.back()->setLayoutName(name);
    if (parent != nullptr) parent->children.push_back(items_.back().get());
    return items_.back().get();
  }
  void pin(BenchItem* guide, LayoutAttribute edge, double height) {
    std::vector<std::shared_ptr<LayoutConstraint>> pins = {
        LayoutConstraint::make(guide, edge, LayoutRelation::kEqual, root_, edge, 1, 0),
        LayoutConstraint::make(guide, LayoutAttribute::kHeight, LayoutRelation::kEqual, nullptr,
                               LayoutAttribute::kNotAnAttribute, 1, height),
        LayoutConstraint::make(guide, LayoutAttribute::kLeft, LayoutRelation::kEqual, root_, LayoutAttribute::kLeft, 1, 0),
        LayoutConstraint::make(guide, LayoutAttribute::kWidth, LayoutRelation::kEqual, root_, LayoutAttribute::kWidth,
                               1, 0)};
    LayoutConstraint::activateConstraints(pins);
  }
  static std::vector<std::shared_ptr<LayoutConstraint>> format(const std::string& text, const std::map<std::string, double>& metrics,
                     const std::map<std::string, LayoutItem*>& views, LayoutItem* superview) {
    std::string error;
    auto constraints = LayoutConstraint::constraintsWithVisualFormat(text, metrics, views, superview, &error);
    if (!error.empty()) std::abort();
    superview->addConstraints(constraints);
    return constraints;
  }

  std::vector<std::unique_ptr<BenchItem>> items_;
  BenchItem* root_ = nullptr;
  std::vector<std::shared_ptr<LayoutConstraint>> drag_;
};

void BM_LayoutPanelFromScratch(benchmark::State& state) {
  Panel panel;
  for (auto _ : state) {
    LayoutEngine engine;
    if (!panel.layout(engine)) state.SkipWithError("the panel did not lay out");
  }
}
BENCHMARK(BM_LayoutPanelFromScratch);

void BM_LayoutPanelDragStep(benchmark::State& state) {
  Panel panel;
  LayoutEngine engine;
  panel.layout(engine);
  const auto& drag = panel.dragConstraints();
  double offset = 0;
  for (auto _ : state) {
    // Back and forth over 200 points, one point a step.
    offset = offset >= 200 ? -200 : offset + 1;
    drag[0]->setConstant(10 + offset);
    drag[1]->setConstant(10 - offset);
    if (!panel.layout(engine)) state.SkipWithError("the drag step did not lay out");
  }
}
BENCHMARK(BM_LayoutPanelDragStep);

}  // namespace
