// A layout item that marks a region of a view without drawing anything: a
// view controller's top and bottom layout guides are the strips its
// content should stay clear of (the status bar above, the screen's bottom
// edge area below). Constraints place content against them.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_GUIDE_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_GUIDE_H_

#include "platform/ui/geometry.h"
#include "platform/ui/layout/layout_item.h"

namespace tessarin::platform::ui {

class View;

// Which edge of its owning view a guide runs along, for guides that are a
// strip of a given length there; kNone for guides placed by constraints alone.
enum class LayoutGuideEdge { kNone, kTop, kBottom };

class LayoutGuide : public layout::LayoutItem {
 public:
  LayoutGuide() = default;
  explicit LayoutGuide(LayoutGuideEdge edge) : edge_(edge) {}

  LayoutGuideEdge edge() const { return edge_; }
  // The strip's height, for an edge guide.
  double length() const { return length_; }
  void setLength(double length) { length_ = length; }

  // The view the guide belongs to (set when added to it).
  View* owningView() const { return owner_; }

  layout::LayoutItem* layoutParent() const override;
  bool isLayoutGuide() const override { return true; }
  void applyLayoutFrame(const Rect& frame) override { frame_ = frame; }
  // In the owning view's coordinates.
  const Rect& layoutFrame() const { return frame_; }

 private:
  friend class View;
  View* owner_ = nullptr;
  LayoutGuideEdge edge_ = LayoutGuideEdge::kNone;
  double length_ = 0;
  Rect frame_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_GUIDE_H_
