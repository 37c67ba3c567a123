// The layout pass with the constraint layout engine. Views that translate
// their frame keep it and are the roots of engine layouts; the views under
// them that do not, and their layout guides, are solved. Layout guides on
// an edge of their view are held there by constraints of their own, whose
// constants follow the guides' lengths.
#include "platform/ui/layout_pass.h"

#include <map>
#include <vector>

#include "platform/ui/layout/layout_constraint.h"
#include "platform/ui/layout/layout_engine.h"
#include "platform/ui/layout_guide.h"
#include "platform/ui/screen.h"
#include "platform/ui/ui_environment.h"
#include "platform/ui/view.h"
#include "platform/ui/window.h"

namespace tessarin::platform::ui {

using layout::LayoutConstraint;
using layout::LayoutItem;

struct LayoutPass::Impl {
  struct GuideConstraints {
    std::weak_ptr<LayoutGuide> guide;
    std::shared_ptr<LayoutConstraint> length;
  };
  // One engine per layout root, kept while the root is laid out, so that a
  // changed constant re-solves incrementally.
  std::map<const View*, std::unique_ptr<layout::LayoutEngine>> engines;
  std::map<const LayoutGuide*, GuideConstraints> guides;
  LayoutDirection direction = LayoutDirection::kLeftToRight;
  std::string error;

  void holdGuide(View& owner, const std::shared_ptr<LayoutGuide>& guide);
  bool hasSolvedChildren(const View& view) const;
  void visit(View& view, bool isRoot, std::map<const View*, std::unique_ptr<layout::LayoutEngine>>& used);
};

namespace {

std::vector<LayoutItem*> solvedChildren(LayoutItem* item) {
  std::vector<LayoutItem*> children;
  if (item->isLayoutGuide()) return children;
  auto* view = static_cast<View*>(item);
  for (const auto& subview : view->subviews()) {
    if (!subview->translatesAutoresizingMaskIntoConstraints()) children.push_back(subview.get());
  }
  for (const auto& guide : view->layoutGuides()) children.push_back(guide.get());
  return children;
}

}  // namespace

void LayoutPass::Impl::holdGuide(View& owner, const std::shared_ptr<LayoutGuide>& guide) {
  if (guide->edge() == LayoutGuideEdge::kNone) return;
  auto it = guides.find(guide.get());
  if (it == guides.end() || it->second.guide.expired()) {
    using A = LayoutAttribute;
    using R = LayoutRelation;
    A edge = guide->edge() == LayoutGuideEdge::kTop ? A::kTop : A::kBottom;
    auto length = LayoutConstraint::make(guide.get(), A::kHeight, R::kEqual, nullptr, A::kNotAnAttribute, 1, 0);
    LayoutConstraint::activateConstraints({
        LayoutConstraint::make(guide.get(), edge, R::kEqual, &owner, edge, 1, 0),
        LayoutConstraint::make(guide.get(), A::kLeft, R::kEqual, &owner, A::kLeft, 1, 0),
        LayoutConstraint::make(guide.get(), A::kWidth, R::kEqual, &owner, A::kWidth, 1, 0),
        length,
    });
    it = guides.insert_or_assign(guide.get(), GuideConstraints{guide, length}).first;
  }
  if (it->second.length->constant() != guide->length()) it->second.length->setConstant(guide->length());
}

bool LayoutPass::Impl::hasSolvedChildren(const View& view) const {
  if (!view.layoutGuides().empty()) return true;
  for (const auto& subview : view.subviews()) {
    if (!subview->translatesAutoresizingMaskIntoConstraints()) return true;
  }
  return false;
}

void LayoutPass::Impl::visit(View& view, bool isRoot,
                             std::map<const View*, std::unique_ptr<layout::LayoutEngine>>& used) {
  for (const auto& guide : view.layoutGuides()) holdGuide(view, guide);
  bool layoutRoot = isRoot || view.translatesAutoresizingMaskIntoConstraints();
  if (layoutRoot && hasSolvedChildren(view)) {
    auto node = engines.extract(&view);
    std::unique_ptr<layout::LayoutEngine> engine =
        node ? std::move(node.mapped()) : std::make_unique<layout::LayoutEngine>();
    engine->setLayoutDirection(direction);
    std::string message;
    if (!engine->layout(&view, view.frame(), solvedChildren, &message) && error.empty()) error = message;
    used[&view] = std::move(engine);
  }
  view.layoutSubviewsIfNeeded();
  auto subviews = view.subviews();
  for (auto& subview : subviews) visit(*subview, false, used);
}

LayoutPass::LayoutPass() : impl_(std::make_unique<Impl>()) {}

LayoutPass::~LayoutPass() = default;

bool LayoutPass::run(View* root) {
  if (!root) return true;
  impl_->error.clear();
  if (Window* window = root->window()) {
    if (Screen* screen = window->screen()) impl_->direction = screen->environment().layoutDirection();
  }
  std::map<const View*, std::unique_ptr<layout::LayoutEngine>> used;
  impl_->visit(*root, true, used);
  // Roots not laid out this time have left the tree (or lost their
  // constraints); their engines go.
  impl_->engines = std::move(used);
  lastError_ = impl_->error;
  return lastError_.empty();
}

}  // namespace tessarin::platform::ui
