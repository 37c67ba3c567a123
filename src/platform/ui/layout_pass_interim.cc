// The layout pass while the constraint layout engine is not part of the
// build: frames stay as they were set, edge layout guides take their
// strips directly, and views lay out their subviews. The build uses
// layout_pass.cc instead as soon as the engine is there (see
// CMakeLists.txt); this file then goes.
#include "platform/ui/layout_guide.h"
#include "platform/ui/layout_pass.h"
#include "platform/ui/view.h"

namespace tessarin::platform::ui {

struct LayoutPass::Impl {};

namespace {

void visit(View& view) {
  const Rect& b = view.bounds();
  for (const auto& guide : view.layoutGuides()) {
    if (guide->edge() == LayoutGuideEdge::kTop) {
      guide->applyLayoutFrame({b.x, b.y, b.width, guide->length()});
    } else if (guide->edge() == LayoutGuideEdge::kBottom) {
      guide->applyLayoutFrame({b.x, b.y + b.height - guide->length(), b.width, guide->length()});
    }
  }
  view.layoutSubviewsIfNeeded();
  auto subviews = view.subviews();
  for (auto& subview : subviews) visit(*subview);
}

}  // namespace

LayoutPass::LayoutPass() = default;

LayoutPass::~LayoutPass() = default;

bool LayoutPass::run(View* root) {
  if (root) visit(*root);
  return true;
}

}  // namespace tessarin::platform::ui
