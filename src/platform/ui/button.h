// A tappable view with a title: highlighted while a finger is on it, and
// it runs its touch-up-inside actions when the finger lifts over it (the
// bounds grown by 70 points, so that a slightly slipping finger still
// counts, as on the reference toolkit). The title label fills the bounds
// less the content insets; the intrinsic size is the title's plus them.
//
// Main thread only.
#ifndef TESSARIN_PLATFORM_UI_BUTTON_H_
#define TESSARIN_PLATFORM_UI_BUTTON_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/ui/label.h"
#include "platform/ui/view.h"

namespace tessarin::platform::ui {

enum class ControlEvent { kTouchDown, kTouchUpInside, kTouchUpOutside, kTouchCancel };

class Button : public View {
 public:
  using Action = std::function<void(Button& sender)>;
  using TargetId = std::uint64_t;
  static constexpr double kTouchSlop = 70;

  Button();
  const char* typeName() const override { return "Button"; }

  const std::shared_ptr<Label>& titleLabel() const { return title_; }
  void setTitle(std::string title) { title_->setText(std::move(title)); }
  const EdgeInsets& contentEdgeInsets() const { return insets_; }
  void setContentEdgeInsets(const EdgeInsets& insets);

  bool isHighlighted() const { return highlighted_; }
  void setHighlighted(bool highlighted);
  // The background while highlighted; by default the title dims instead.
  void setHighlightedBackgroundColor(std::optional<Color> color);

  TargetId addTarget(ControlEvent event, Action action);
  void removeTarget(TargetId id);
  void sendActions(ControlEvent event);

  Size intrinsicContentSize(double width) const override;
  void layoutSubviews() override;
  void touchBegan(const Touch& touch) override;
  void touchMoved(const Touch& touch) override;
  void touchEnded(const Touch& touch) override;
  void touchCancelled(const Touch& touch) override;

 private:
  bool touchInside(const Touch& touch) const;

  std::shared_ptr<Label> title_;
  EdgeInsets insets_;
  bool highlighted_ = false;
  std::optional<Color> highlightedBackground_;
  Color normalBackground_;
  std::optional<int> trackedTouch_;
  TargetId nextTarget_ = 1;
  struct Target {
    TargetId id;
    ControlEvent event;
    Action action;
  };
  std::vector<Target> targets_;
};

}  // namespace tessarin::platform::ui

#endif  // TESSARIN_PLATFORM_UI_BUTTON_H_
