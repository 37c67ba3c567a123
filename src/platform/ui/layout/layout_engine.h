// Lays out one tree of items: the root keeps the frame it is given, every
// other item gets the frame its constraints solve to. The engine keeps its
// solver between passes, so a pass after a constant changed re-solves
// incrementally (a drag step), and a pass after constraints were added or
// removed changes only what they touch.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_ENGINE_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_ENGINE_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/ui/geometry.h"
#include "platform/ui/layout/layout_item.h"
#include "platform/ui/layout/layout_types.h"

namespace tessarin::platform::ui::layout {

class LayoutEngine {
 public:
  LayoutEngine();
  ~LayoutEngine();
  LayoutEngine(const LayoutEngine&) = delete;
  LayoutEngine& operator=(const LayoutEngine&) = delete;

  void setLayoutDirection(LayoutDirection direction);

  // Solves the tree under `root` (whose frame is `rootFrame`, in its own
  // parent's coordinates) and applies every item's frame. `children`
  // answers an item's layout children (subviews and guides) in order.
  // Returns false, with a one-line `error`, when the required constraints
  // cannot all hold; the unsatisfiable constraint is then left out.
  bool layout(LayoutItem* root, const Rect& rootFrame,
              const std::function<std::vector<LayoutItem*>(LayoutItem*)>& children, std::string* error);
  // The frame the last pass solved for `item`.
  Rect solvedFrame(const LayoutItem* item) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace tessarin::platform::ui::layout

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_LAYOUT_ENGINE_H_
