// A layout item for tests: a named box in a tree, with an optional
// intrinsic size that may wrap like text, and a record of what the engine
// did to it.
#ifndef TESSARIN_TESTS_UI_LAYOUT_TEST_ITEM_H_
#define TESSARIN_TESTS_UI_LAYOUT_TEST_ITEM_H_

#include <cmath>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/ui/layout/layout_constraint.h"
#include "platform/ui/layout/layout_engine.h"
#include "platform/ui/layout/layout_item.h"

namespace tessarin::platform::ui::layout::testing {

class TestItem : public LayoutItem {
 public:
  TestItem(std::string name, TestItem* parent, bool guide = false) : parent_(parent), guide_(guide) {
    setLayoutName(std::move(name));
    if (parent != nullptr) parent->children_.push_back(this);
  }

  LayoutItem* layoutParent() const override { return parent_; }
  bool isLayoutGuide() const override { return guide_; }
  Size intrinsicContentSize(double width) const override {
    ++intrinsicQueries;
    if (textWidth > 0) {
      // Text `textWidth` long in lines of `lineHeight`, wrapped at `width`.
      if (width <= 0 || width >= textWidth) return {textWidth, lineHeight};
      return {width, std::ceil(textWidth / width) * lineHeight};
    }
    return intrinsic;
  }
  EdgeInsets layoutMargins() const override { return margins; }
  void applyLayoutFrame(const Rect& rect) override { frame = rect; }
  void setNeedsLayout() override { ++needsLayout; }

  const std::vector<TestItem*>& children() const { return children_; }

  Size intrinsic{kNoIntrinsicMetric, kNoIntrinsicMetric};
  double textWidth = 0;
  double lineHeight = 20;
  EdgeInsets margins{8, 8, 8, 8};
  Rect frame;
  int needsLayout = 0;
  mutable int intrinsicQueries = 0;

 private:
  TestItem* parent_;
  bool guide_;
  std::vector<TestItem*> children_;
};

// Owns a tree of test items under a root and lays it out.
class TestTree {
 public:
  explicit TestTree(Size size) : size_(size) { items_.push_back(std::make_unique<TestItem>("root", nullptr)); }

  TestItem* root() { return items_.front().get(); }
  TestItem* add(const std::string& name, TestItem* parent = nullptr, bool guide = false) {
    items_.push_back(std::make_unique<TestItem>(name, parent == nullptr ? root() : parent, guide));
    byName_[name] = items_.back().get();
    return items_.back().get();
  }
  TestItem* operator[](const std::string& name) { return byName_.at(name); }
  void resize(Size size) { size_ = size; }

  // Installs a visual format over the named items; "|" is their parent.
  void format(const std::string& text, const std::map<std::string, double>& metrics = {}) {
    std::map<std::string, LayoutItem*> views(byName_.begin(), byName_.end());
    std::string error;
    auto constraints = LayoutConstraint::constraintsWithVisualFormat(text, metrics, views, nullptr, &error);
    if (!error.empty()) throw std::runtime_error(error);
    LayoutConstraint::activateConstraints(constraints);
  }

  bool layout(std::string* error = nullptr) { return layoutWith(engine, error); }
  bool layoutWith(LayoutEngine& with, std::string* error = nullptr) {
    std::string ignored;
    return with.layout(root(), Rect{0, 0, size_.width, size_.height},
                         [](LayoutItem* item) {
                           const auto& children = static_cast<TestItem*>(item)->children();
                           return std::vector<LayoutItem*>(children.begin(), children.end());
                         },
                         error != nullptr ? error : &ignored);
  }

  LayoutEngine engine;

 private:
  Size size_;
  std::vector<std::unique_ptr<TestItem>> items_;
  std::map<std::string, TestItem*> byName_;
};

}  // namespace tessarin::platform::ui::layout::testing

#endif  // TESSARIN_TESTS_UI_LAYOUT_TEST_ITEM_H_
