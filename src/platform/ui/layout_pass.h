// One layout pass over a tree of views: the constraint layout engine solves
// the frames of the views that constraints place, then views that need it
// lay out the rest (layoutSubviews). A window keeps its pass between runs,
// so that the engine re-solves incrementally (a drag step changes one
// constant and re-solves from the last solution).
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_LAYOUT_PASS_H_
#define TESSARIN_PLATFORM_UI_LAYOUT_PASS_H_

#include <memory>
#include <string>

namespace tessarin::platform::ui {

class View;

class LayoutPass {
 public:
  LayoutPass();
  ~LayoutPass();
  LayoutPass(const LayoutPass&) = delete;
  LayoutPass& operator=(const LayoutPass&) = delete;

  // Lays out the tree under `root`, which keeps its frame. Returns false,
  // with the engine's one-line error in lastError(), when required
  // constraints conflict (the frames are then the engine's best effort).
  bool run(View* root);
  const std::string& lastError() const { return lastError_; }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::string lastError_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_LAYOUT_PASS_H_
